# Packets and outbounds that other programs made: what a script sees of each message and each line, held against the
# manifests that lie beside them, and that a look at them changes no byte.

use strict;
use warnings;
use Compress::Zlib qw(crc32);
use Quelmo::Pkt;
use Quelmo::Test;

my $FIXTURES = "$ENV{QUELMO_SOURCE}/tests/fixtures";
my $SYSTEM = "DATA SYSTEM OWN\n2:5020/1 fidonet 2 3\n1:123/1 fidonet 1\n#END#\n";
my $VIA = qr{\x01Via \S+ \@\d{8}\.\d{6}\.UTC quelmo 1\.02/w32 19-01-01\r};

sub bytes_of { return $_[0] =~ s/\\x([0-9a-f]{2})/chr hex $1/ger }
sub address { return $_[0] =~ s/\.0$//r }

# Of packets: [file, from, to, [message...]]; of lists [file, undef, to, [line...]].
sub read_manifest {
    my ($file) = @_;
    open my $f, '<:raw', $file or die "$file: $!\n";
    my (@found, %by_name, $now, $m);
    while (<$f>) {
        chomp;
        if (/^file (\S+): destination (\S+), flavour \w+, flow file/) { push @found, $now = [$1, undef, $2, []] }
        elsif (/^  line: (.*)/) { push @{$now->[3]}, $1 if $now }
        elsif (/^file /) { $now = undef }
        elsif (/^---- (out\S+)/) { push @found, $now = [$1, undef, undef, []] }
        elsif (/^---- (?!packet)/) { $now = undef }
        elsif (/^#### packet (\S+):/) { push @found, $now = [$1, undef, undef, []] }
        elsif (!$now) { next }
        elsif (/^header: from (\S+) to (\S+) password="?(.*?)"? date/) { @$now[1, 2] = map { address($_) } $1, $2 }
        elsif (/^== /) { push @{$now->[3]}, $m = {} }
        elsif (/^(from|to|subject|date-text): ?(.*)/) { $m->{$1} = bytes_of($2) }
        elsif (/^net.node: (\S+) -> (\S+) \| attr: 0x(\w+)/) { @$m{qw(orig dest attr)} = ($1, $2, hex $3) }
        elsif (/^text: size=(\d+) crc32=(\w+)/) { @$m{qw(size crc)} = ($1, hex $2) }
        elsif (/^  msg \d+ offset=\d+ length=\d+: (.*?) -> (.*?) "(.*)" (\S+) -> (\S+) \| attr: 0x(\w+).* \| date (.*?) \| size=(\d+) crc32=(\w+)/) {
            push @{$now->[3]}, {from => $1, to => $2, subject => $3, orig => $4, dest => $5, attr => hex $6, 'date-text' => $7, size => $8, crc => hex $9};
        }
    }
    return @found;
}

sub copy_in {
    my ($s, $store) = @_;
    my %files;
    for my $file (map { glob "$FIXTURES/$store/$_" } '*.pkt', 'out*/*.*', 'out*/*.pnt/*') {
        next if -d $file;
        my $name = "in/" . $file =~ s{^\Q$FIXTURES/$store/}{}r;
        open my $f, '<:raw', $file or die "$file: $!\n";
        local $/;
        $files{$name} = <$f>;
        File::Path::make_path($s->path($name =~ s{/[^/]+$}{}r));
        $s->spew($name, $files{$name});
    }
    return \%files;
}

my $SHOW = q{ for my $area (@AREAS) { Scan($area); while (ReadMsg()) {
    out('%d', (GetHdr())[0, 2, 4, 5], GetRouting(), (GetPktHdr())[0, 8]); out(map { defined $_ ? $_ : () } GetRawMsg()); SetAttribute('@ AUDIT'); SetAttribute('@ !Changed') } } };

my %STORES = ('pkt-hpt' => 25, 'pkt-crashmail' => 25, 'pkt-txt2pkt' => 7, 'outbound-hpt' => 29, 'outbound-crashmail' => 23);
for my $store (sort keys %STORES) {
    my $is_pkt = $store =~ /^pkt/;
    my @manifest = grep { $is_pkt || $_->[0] =~ /(?:ut|lo)$/ } read_manifest("$FIXTURES/$store/MANIFEST.txt");
    my $areas = $is_pkt ? "PKTAREA in IN OWN\n" : "BINKAREA in/out IN OWN\nBINKAREA in/out OTHERS OWN NoMainZone\n";
    my $s = scenario(bare => 1, config => "MAINADDRESS 2:5020/1\@fidonet\nCHAT OFF\n$SYSTEM$areas");
    my $files = copy_in($s, $store);
    my $r = $s->run(script => 'my @AREAS = qw(' . ($is_pkt ? 'IN' : 'IN OTHERS') . ");$SHOW");
    $r->ended_well("$store: the scan ends well");
    my @said = @{$r->said};
    my (@seen, @expected);
    while (my ($head, $text) = splice @said, 0, 2) {
        my (undef, $from, $to, $subject, $date, $route) = @$head;
        push @seen, $from =~ /^quelmo/ ? "$route: $subject" : join '|', $route, $from, $to, $subject, $date, crc32(join('', map { "$_\r" } @$text) =~ s/$VIA\z//r =~ s/[\r\n]//gr);
    }
    for my $entry (@manifest) {
        my ($file, $from, $to, $content) = @$entry;
        my $packed = unpack_pkt($files->{"in/$file"});
        for my $i (0 .. $#$content) {
            my $m = $content->[$i];
            if (!ref $m) { push @expected, "$to: " . substr($m =~ s/^[\^#]//r, 0, 71); next }
            my $p = $packed->{msgs}[$i];
            is(join('|', length $p->{text}, crc32($p->{text}), @$p{qw(from to subject date orig dest attr)}), join('|', @$m{qw(size crc from to subject date-text orig dest attr)}), "$store $file: message $i of the manifest");
            push @expected, join '|', $to, @$m{qw(from to subject date-text)}, crc32($p->{text} =~ s/[\r\n]//gr);
        }
    }
    is(scalar @expected, $STORES{$store}, "$store: messages and lines in the manifest");
    is_deeply([sort @seen], [sort @expected], "$store: every message and line is seen, once, as it is");
    is_deeply([grep { ($s->slurp($_) // '') ne $files->{$_} } sort keys %$files], [], "$store: not a byte has changed");
    is(scalar(split /\n/, `find '@{[$s->path('in')]}' -type f`), scalar keys %$files, "$store: nothing came, nothing went");
}
done_testing;
