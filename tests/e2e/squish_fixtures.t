# Squish bases that other programs made: what a script sees of each message, what an update and a kill leave, held
# against the manifests that lie beside the bases.

use strict;
use warnings;
use Compress::Zlib qw(crc32);
use Quelmo::Squish;
use Quelmo::Test;

my $FIXTURES = "$ENV{QUELMO_SOURCE}/tests/fixtures";

sub bytes_of { my ($text) = @_; return $text =~ s/\\x([0-9a-f]{2})/chr hex $1/ger }

# {base => [{from => ..., ctrl => [...], crc => ...}, ...]}
sub read_manifest {
    my ($file) = @_;
    open my $f, '<:raw', $file or die "$file: $!\n";
    my (%bases, $list, $m);
    while (<$f>) {
        chomp;
        if (/^#### base (\w+):/) { $list = $bases{$1} = [] }
        elsif (/^== \w+ msg \d+ umsgid=(\d+)/) { push @$list, $m = {umsgid => $1, ctrl => []} }
        elsif (!$m) { next }
        elsif (/^(from|to|subject|date-text): ?(.*?)(?: \| arrived: .*)?$/) { my $field = $1; $m->{$field} = bytes_of($2) }
        elsif (/^(\S+) -> (\S+) \| attr: 0x(\w+)/) { @$m{qw(orig dest attr)} = ($1, $2, hex $3) }
        elsif (/^k: ?(.*)/) { push @{$m->{ctrl}}, "\x01" . bytes_of($1) }
        elsif (/^text: size=(\d+) crc32=(\w+)/) { @$m{qw(size crc)} = ($1, hex $2) }
    }
    return \%bases;
}

sub slurp { my ($file) = @_; open my $f, '<:raw', $file or die "$file: $!\n"; local $/; return scalar(<$f>) // '' }

my $seen = 0;
for my $store (qw(squish-hpt-echo squish-smapi squish-sqpack)) {
    my $manifest = read_manifest("$FIXTURES/$store/MANIFEST.txt");
    for my $base (sort keys %$manifest) {
        my @messages = @{$manifest->{$base}};
        my $name = "$store $base";
        my $s = scenario(bare => 1, config => "MAINADDRESS 2:5020/1\@fidonet\nCHAT OFF\nTOUCHECHOMAIL NO\nSQUISHAREA SQ SQ echomail\n");
        my %files = map { $_ => slurp("$FIXTURES/$store/$base.$_") } qw(sqd sqi);
        $s->spew("SQ.$_", $files{$_}) for keys %files;
        my $r = $s->run(script => q{ Scan('SQ'); while (ReadMsg()) { out(GetHdr()); out(GetRawMsg()); SetAttribute('@ !Changed') } });
        $r->ended_well("$name: reading");
        is(scalar @{$r->said}, 2 * @messages, "$name: every message is read, once");
        for my $m (@messages) {
            my ($header, $raw) = splice @{$r->said}, 0, 2;
            is_deeply([@$header[0, 2, 4, 5]], [@$m{qw(from to subject date-text)}], "$name $m->{umsgid}: header");
            my @points = map { my ($word, $addr) = @$_; $addr =~ /\.([1-9]\d*)$/ && !grep({ /^\x01$word/ } @{$m->{ctrl}}) ? "\x01$word $1" : () }
                [FMPT => $m->{orig}], [TOPT => $m->{dest}];
            my @expected = grep { !/INTL/ } @points, @{$m->{ctrl}};
            is_deeply([grep { !/INTL/ } @$raw[0 .. $#{$m->{ctrl}} + @points]], \@expected, "$name $m->{umsgid}: kludges");
            $seen++;
        }
        is_deeply({map { $_ => $s->slurp("SQ.$_") } keys %files}, \%files, "$name: not a byte has changed");

        # An update of each message, and kills of the first and the last.
        $s->run(script => q{ Scan('SQ'); while (ReadMsg()) { SetAttribute('@ AUDIT') } })->ended_well("$name: updating");
        my $is = @messages ? unpack_squish(map { $s->slurp("SQ.$_") } qw(sqd sqi)) : {messages => []};
        is_deeply([map { $_->{attr} } @{$is->{messages}}], [map { $_->{attr} | 0x4000 } @messages], "$name: attributes after an update");
        is_deeply([map { $_->{umsgid} } @{$is->{messages}}], [map { $_->{umsgid} } @messages], "$name: ids after an update");
        for my $i (0 .. $#messages) {
            my ($m, $now) = ($messages[$i], $is->{messages}[$i]);
            my $ctrl = join '', grep { !/^\x01(?:FMPT|TOPT)/ } @{$m->{ctrl}};
            next if $m->{attr} & 0x4000;    # has the attribute already, so it isn't written
            is($now->{ctrl}, "$ctrl\0", "$name $m->{umsgid}: control text after an update");
            my $crc = grep { crc32($_) == $m->{crc} && length == $m->{size} }
                map { ($_, s/\r\z//r) } map { ($_, "$_\0") } $now->{text} =~ s/\0\z//r;
            my @unended = map { crc32($_) } $now->{text} =~ s/\r?\0\z//r, $now->{text} =~ s/\r\0\z/\0/r;
            ok($crc || grep({ $_ == $m->{crc} } @unended), "$name $m->{umsgid}: text after an update");
            is(join(' ', @$now{qw(orig dest)}), join(' ', map { s/\.0$//r } @$m{qw(orig dest)}), "$name $m->{umsgid}: addresses");
        }
        $s->run(script => "Scan('SQ');" . ' my $n = 0; while (ReadMsg()) { Kill() if $n++ == 0 || $n == ' . @messages . ' }');
        my @left = grep { defined } @messages[1 .. $#messages - 1];
        next if !@messages;
        $is = unpack_squish(map { $s->slurp("SQ.$_") } qw(sqd sqi));
        is_deeply([map { $_->{umsgid} } @{$is->{messages}}], [map { $_->{umsgid} } @left], "$name: ids after kills");
    }
}
is($seen, 73, 'messages of all bases');
done_testing;
