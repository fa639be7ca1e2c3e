# Areas that other programs made: what a script sees of each message, and which bytes an update leaves, both held
# against the manifests that lie beside the areas.

use strict;
use warnings;
use Compress::Zlib qw(crc32);
use Quelmo::Test;

my $FIXTURES = "$ENV{QUELMO_SOURCE}/tests/fixtures";
my @ATTRIBUTES = (
    [AUDIT => 0x4000], [CRASH => 2], [FILE => 0x10], [HOLD => 0x200], [INTRANSIT => 0x20], [ISRR => 0x2000],
    [KILLSENT => 0x80], [LOCAL => 0x100], [ORPHAN => 0x40], [PRIVATE => 1], [RECEIVED => 4], [REQUEST => 0x800],
    [RES1 => 0x400], [RRQ => 0x1000], [SENT => 8], [UPDATE => 0x8000],
);

# Where our reading of the addresses differs from the one in the manifest, which gives every echomail the zone of the
# system: a zone that only the MSGID tells goes to both sides.
my %ADDRESSES = ('msg-hpt test 13.msg' => ['1:123/456', '1:5020/1']);

sub bytes_of { return $_[0] =~ s/\\x([0-9a-f]{2})/chr hex $1/ger }

# {area => [{file => '1.msg', from => ..., kludges => [...], ...}, ...]}
sub read_manifest {
    my ($file) = @_;
    open my $f, '<:raw', $file or die "$file: $!\n";
    my (%areas, $m, %addresses, $area);
    while (<$f>) {
        chomp;
        if (/^#### area (\w+):/) { $area = $1 }
        elsif (/^== (\w+) (\S+) size=(\d+)/) {
            push @{$areas{$1}}, $m = {file => $2, size => $3, kludges => [], others => [0, 0, 0, 0]};
        }
        elsif (/^smapi: (\S+) (\S+) -> (\S+)/) { $addresses{$area}{$1} = [map { s/\.0$//r } $2, $3] }
        elsif (!$m) { next }
        elsif (/^(from|to|subject|date-text): ?(.*)/) { $m->{$1} = bytes_of($2) }
        elsif (m{^net/node: (\S+) -> (\S+) \| attr: 0x(\w+)}) { @$m{qw(orig dest attr)} = ($1, $2, hex $3) }
        elsif (/^timesread: (\d+) cost: (\d+) replyto: (\d+) nextreply: (\d+)/) { $m->{others} = [$1, $2, $3, $4] }
        elsif (/^(?:k|k-mid|k-tail|seen-by): ?(.*)/) { push @{$m->{kludges}}, bytes_of($1) =~ s/^\n//r }
        elsif (/^text: size=(\d+) crc32=(\w+)(?: nuls-at-end=(\d+))?/) { @$m{qw(length crc nuls)} = ($1, hex $2, $3 // 0) }
    }
    for my $tag (keys %areas) { $_->{addresses} = $addresses{$tag}{$_->{file}} for @{$areas{$tag}} }
    return \%areas;
}

sub attribute_words {
    my ($attr) = @_;
    return join ' ', map { $_->[0] } grep { $attr & $_->[1] } @ATTRIBUTES;
}

# The elements of a text: cut behind CR or CR LF, and after 255 bytes; a CR LF stays together.
sub elements {
    my ($text) = @_;
    my @out;
    push @out, $1 while $text =~ /\G([^\r]{0,253}\r\n|[^\r]{0,254}\r(?!\n)|[^\r]{255}|[^\r]+)/g;
    return map { s/[\r\n]+\z//r } @out;
}

sub copy_of {
    my ($store, $area) = @_;
    my %files;
    for my $file (glob "$FIXTURES/$store/$area/*") {
        open my $f, '<:raw', $file or die "$file: $!\n";
        local $/;
        $files{$file =~ s{.*/}{}r} = <$f>;
    }
    return \%files;
}

my $READ = q{
    while (ReadMsg()) {
        my @header = GetHdr();
        out(@header); out(GetRawMsg()); out(GetKludges()); out(GetText());
        SetAttribute('@ !Changed');
    }
};
my $UPDATE = q{ while (ReadMsg()) { SetAttribute('@ AUDIT') } };

my $VIA = via_like('2:5020/1@fidonet');

sub read_area {
    my ($store, $area, $messages, $files, $s) = @_;
    my $r = $s->run(script => "Scan('$area');$READ");
    $r->ended_well("$store $area: reading ends well");
    my @said = @{$r->said};
    is(scalar @said, 4 * @$messages, "$store $area: every message is read, once");
    for my $m (@$messages) {
        my ($header, $raw, $kludges, $text) = splice @said, 0, 4;
        my $name = "$store $area $m->{file}";
        my $addresses = $ADDRESSES{$name} // $m->{addresses};
        my $words = pop @$header;
        is_deeply($header, [$m->{from}, $addresses->[0], $m->{to}, $addresses->[1], @$m{qw(subject date-text)}],
            "$name: header");
        my $attributes = attribute_words($m->{attr});
        like($words, qr/^\Q$attributes\E  /, "$name: attributes");
        my @own = $area eq 'netmail' ? 1 : ();
        if (@own) { like((pop @$raw // '') . "\r", qr/^$VIA\z/, "$name: our Via stands last"); pop @$kludges }
        my $body = unpack_msg($files->{$m->{file}})->{body};
        is_deeply($raw, [elements($body)] , "$name: elements of the text") if length $body;
        is_deeply($kludges, @{$m->{kludges}} ? $m->{kludges} : @own ? [] : [undef], "$name: kludges");
        my @lines = grep { !/^(?:\x01|SEEN-BY)/ } map { s/[\r\n]+\z//r } @{unpack_msg($files->{$m->{file}})->{lines}};
        is_deeply($text, @lines ? \@lines : [undef], "$name: body lines");
    }
    is_deeply(copy_from($s, $area), $files, "$store $area: not a byte has changed");
}

sub copy_from {
    my ($s, $area) = @_;
    return {map { $_ => $s->slurp("$area/$_") } $s->files($area)};
}

sub update_area {
    my ($store, $area, $messages, $files, $s) = @_;
    my $r = $s->run(script => "Scan('$area');$UPDATE");
    $r->ended_well("$store $area: updating ends well");
    is_deeply([sort $s->files($area)], [sort keys %$files], "$store $area: the same files after an update");
    for my $m (@$messages) {
        my $name = "$store $area $m->{file}";
        my $new = $s->msg($area, $m->{file});
        my $old = unpack_msg($files->{$m->{file}});
        is($new->{attr}, $m->{attr} | 0x4000, "$name: attribute added");
        is_deeply([@$new{qw(times_read cost reply_to next_reply)}], $m->{others}, "$name: counters and links stay");
        my @words = qw(dest_node orig_node orig_net dest_net dest_zone orig_zone dest_point orig_point);
        is_deeply([@$new{@words}], [@$old{@words}], "$name: address words stay");
        is_deeply([map { $new->{"${_}_field"} =~ s/\0+\z//r } qw(from to subject date)],
            [@$m{qw(from to subject date-text)}], "$name: fields without left-over bytes");
        my $text = $new->{text};
        ok($text =~ s/\0\z// && $text !~ /\0/, "$name: one NUL at the end");
        if ($area eq 'netmail') { ok($text =~ s/$VIA\z//, "$name: our Via at the end") }
        $text =~ s/\r\z// if $old->{body} !~ /\r\n?\z/;    # the last line gained its end
        $text .= "\0" x $m->{nuls};
        is(length $text, $m->{length}, "$name: length of the text");
        is(crc32($text), $m->{crc}, "$name: bytes of the text");
    }
}

for my $store ('msg-hpt', 'msg-crashmail') {
    my $manifest = read_manifest("$FIXTURES/$store/MANIFEST.txt");
    is(scalar(map { @$_ } values %$manifest), $store eq 'msg-hpt' ? 26 : 28, "$store: messages in the manifest");
    for my $area (sort keys %$manifest) {
        my $files = copy_of($store, $area);
        my $s = scenario(
            bare => 1, config => "MAINADDRESS 2:5020/1\@fidonet\nCHAT OFF\nTOUCHECHOMAIL NO\n",
            areas => {$area => $files}, echo => $area eq 'netmail' ? [] : [$area],
        );
        read_area($store, $area, $manifest->{$area}, $files, $s);
        update_area($store, $area, $manifest->{$area}, $files, $s);
    }
}
done_testing;
