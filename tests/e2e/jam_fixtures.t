# JAM bases that other programs made: what a script sees of each message, and what an update leaves of it, held
# against the manifests that lie beside the bases.

use strict;
use warnings;
use Compress::Zlib qw(crc32);
use POSIX qw(strftime);
use Quelmo::Test;
use Quelmo::Jam;

my $FIXTURES = "$ENV{QUELMO_SOURCE}/tests/fixtures";
my %WORDS = (0x1 => 'LOCAL', 0x2 => 'INTRANSIT', 0x4 => 'PRIVATE', 0x8 => 'RECEIVED', 0x10 => 'SENT', 0x20 => 'KILLSENT', 0x80 => 'HOLD',
    0x100 => 'CRASH', 0x1000 => 'REQUEST', 0x2000 => 'FILE', 0x10000 => 'RRQ');
my %PREFIX = (4 => "\x01MSGID: ", 5 => "\x01REPLY: ", 7 => "\x01PID: ", 2000 => "\x01", 2001 => 'SEEN-BY: ', 2002 => "\x01PATH: ");

# {base => [{number, crc, offset, attribute, written, replyto, sf, size, textcrc}, undef, ...]}
sub read_manifest {
    my ($file) = @_;
    open my $f, '<:raw', $file or die "$file: $!\n";
    my (%bases, $m);
    while (<$f>) {
        chomp;
        if (/^#### base (\w+):/) { $bases{$1} = [] }
        elsif (/^== (\w+) msg (\d+) index: usercrc=(\w+) hdr\@(\w+)/) {
            push @{$bases{$1}}, $m = $4 eq 'ffffffff' ? undef : {number => $2, crc => hex $3, offset => $4, sf => [], map { $_ => 0 } qw(replyto reply1st replynext timesread cost)};
        }
        elsif (!$m) { next }
        elsif (/^hdr: msgnum=\d+ attr=0x(\w+)/) { $m->{attribute} = hex $1 }
        elsif (/^written: (\d+) processed: (\d+)/) { @$m{qw(written processed)} = ($1, $2) }
        elsif (/^replyto:/) { while (/(\w+): (\d+)/g) { $m->{$1} = $2 } }
        elsif (my ($id, $value) = /^sf (\d+) ?(.*)/) { push @{$m->{sf}}, $id, $value =~ s/\\x([0-9a-f]{2})/chr hex $1/ger }
        elsif (/^text: size=(\d+) crc32=(\w+)/) { @$m{qw(size textcrc)} = ($1, hex $2) }
    }
    return \%bases;
}

# The lines of a message as a script shall see them, our own Via aside.
sub lines_of {
    my ($m, $text) = @_;
    my ($from, $to) = map { (sf_of($m, $_))[0] } 0, 1;
    my $net = $m->{attribute} & 0x02000000;
    my @head = $net && defined $from && defined $to ? join ' ', "\x01INTL", map { s/[.\@].*//r } $to, $from : ();
    my @tail;
    for my $i (0 .. $#{$m->{sf}} / 2) {
        my ($id, $value) = @{$m->{sf}}[2 * $i, 2 * $i + 1];
        if ($id < 2) { push @head, "\x01" . ($id ? 'TOPT' : 'FMPT') . " $1" if $net && $value =~ /\.([1-9]\d*)/ }
        elsif ($id == 2003) { push @head, "\x01FLAGS " . join ' ', sort grep { /^(?:KFS|TFS)$/ } split / /, $value }
        elsif (my $prefix = $PREFIX{$id}) { push @{$id > 2000 || $value =~ /^Via / ? \@tail : \@head}, $prefix . $value }
    }
    $text =~ s/\0.*//s;
    my @body;
    push @body, $1 while $text =~ /\G([^\r]{0,253}\r\n|[^\r]{0,254}\r(?!\n)|[^\r]{255}|[^\r]+)/g;
    return (@head, (map { s/[\r\n]+\z//r } @body), @tail);
}

my $READ = q{while (ReadMsg()) { my @h = GetHdr(); out(@h); out(map { $_ // '' } GetRawMsg()); SetAttribute('@ !Changed') }};

for my $store (qw(jam-basenum jam-crashmail jam-hpt-echo jam-smapi)) {
    my $manifest = read_manifest("$FIXTURES/$store/MANIFEST.txt");
    for my $name (sort keys %$manifest) {
        my $title = "$store $name";
        my $echo = $name =~ /mail|killed|empty/ ? '' : 'echomail';
        my $s = scenario(bare => 1, config => "MAINADDRESS 2:5020/1\@fidonet\nCHAT OFF\nTOUCHECHOMAIL NO\n");
        for (glob "$FIXTURES/$store/$name.*") { open my $f, '<:raw', $_ or die; local $/; $s->spew(s{.*/}{}r, <$f> // '') }
        $s->spew('quelmo.cfg', $s->slurp('quelmo.cfg') . "JAMAREA $name TAG $echo\n");
        my $old = get_jam($s, $name);
        my @all = @{$manifest->{$name}};
        my @live = grep { $_ } @all;
        is(scalar @{$old->{messages} // []}, @all, "$title: index records");
        is_deeply([jam_check($s, $name)], [0, ''], "$title: the check finds nothing");

        my @said = @{$s->run(script => "Scan('TAG'); $READ")->said};
        is(scalar @said, 2 * @live, "$title: every message is read, once");
        for my $i (grep { $all[$_] } 0 .. $#all) {
            my ($m, $o, $h, $raw) = ($all[$i], $old->{messages}[$i], splice @said, 0, 2);
            my @of_text = (length $o->{text}, crc32($o->{text}));
            is_deeply([@$o{qw(crc attribute written replyto reply1st sf)}, @of_text], [@$m{qw(crc attribute written replyto reply1st sf size textcrc)}], "$title $m->{number}: stored");
            my @names = map { (sf_of($m, $_))[-1] // '' } 2, 3, 6;
            is_deeply([@$h[0, 2, 4, 5]], [@names, strftime('%d %b %y  %H:%M:%S', gmtime $m->{written})], "$title $m->{number}: header");
            my $words = join ' ', sort map { $m->{attribute} & $_ ? $WORDS{$_} : () } keys %WORDS;
            like($h->[6], qr/^\Q$words\E /, "$title $m->{number}: attributes");
            pop @$raw if $raw->[-1] =~ /^\x01Via .* quelmo /;
            is_deeply([grep { length || @$raw > 1 } @$raw], [lines_of($m, $o->{text})], "$title $m->{number}: lines") if @$raw || length $o->{text};
        }
        is_deeply(get_jam($s, $name), $old, "$title: not a byte has changed");

        $s->run(script => q{Scan('TAG'); while (ReadMsg()) { SetAttribute('@ CRASH') }})->ended_well("$title: updating");
        is_deeply([jam_check($s, $name)], [0, ''], "$title: the check finds nothing behind an update");
        my $new = get_jam($s, $name);
        is_deeply([@$new{qw(active base reserved)}, $new->{mod} - @live], [@$old{qw(active base reserved mod)}], "$title: head");
        for my $i (grep { $all[$_] } 0 .. $#all) {
            my ($o, $n) = ($old->{messages}[$i], $new->{messages}[$i]);
            my @kept = qw(crc number written replyto reply1st replynext timesread msgidcrc replycrc);
            my $flags = join ' ', sf_of($o, 2003);
            my $bits = 0x100 | ($flags =~ /KFS/ ? 0x8000 : 0) | ($flags =~ /TFS/ ? 0x4000 : 0);
            is_deeply([@$n{@kept}, $n->{attribute}], [@$o{@kept}, $o->{attribute} | $bits], "$title: header of an updated message");
            for my $id (2, 3, 4, 5, 7, 8, 2001, 2002, 2004) {
                my @want = sf_of($o, $id);
                is_deeply([sf_of($n, $id)], $id =~ /^[45]$/ ? [map { lc } @want] : \@want, "$title: its subfields $id") if @want;
            }
            my $text = $o->{text} =~ s/\0.*//sr =~ s/(?<=\r)SEEN-BY[^\r]*\r//gr;
            like($n->{text}, qr/\A\Q$text\E\r?\z/, "$title: its text");
        }
    }
}
done_testing;
