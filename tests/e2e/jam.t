# JAM areas: what a script sees of a base, which bytes a write leaves, what happens to bases that lie.

use strict;
use warnings;
use Fcntl qw(F_SETLK F_WRLCK SEEK_SET);
use Quelmo::Test;
use Quelmo::Jam;

my $OURS = via_line('2:999/100@testnet');
my $VIA = $OURS =~ s/^\x01|\r$//gr;
my $READ = q{Scan('ECHO'); while (ReadMsg()) { out((GetHdr())[0, 1, 2, 3, 4]); out(map { $_ // '' } GetRawMsg()) } };
my $CHANGE = q{Scan('ECHO'); while (ReadMsg()) { SetAttribute('@ AUDIT') }};
my $KILL = q{Scan('ECHO'); while (ReadMsg()) { Kill() if (GetHdr())[4] =~ /kill/ }};

sub base {
    my ($words, %o) = @_;
    my $s = scenario(config => "JAMAREA ECHO ECHO $words\nDEBUG 4\n" . ($o{config} // ''), areas => $o{areas} // {});
    return put_jam($s, 'ECHO', %o);
}

sub whole {
    my ($s, $name, $base) = @_;
    my ($code, $out) = jam_check($s, $base // 'ECHO');
    is("$code$out", '0', "$name: the base is whole");
}

{    # A new area: an empty base with its lastread file. One message goes in, and comes out again.
    my $s = scenario(config => "JAMAREA ECHO ECHO echomail\nJAMAREA MAIL MAIL\n", areas => {IN => [
        {from => 'Bob', to => 'LARRY', subject => 'Hello', attr => 0x0101, date => '01 May 24  08:00:00', text =>
            "\x01INTL 2:999/100 2:999/1\r\x01FMPT 3\r\x01MSGID: 2:999/1.3 ABCD\r\x01REPLYTO x\r\x01PID: " . 'p' x 50 .
            "\r\x01FLAGS DIR XMA KFS\r\x01TID: t\rHi\rSEEN-BY: 1/2 3\r\x01PATH: 1/2\r$OURS"}]});
    my $r = $s->run(script => q{Scan('IN'); ReadMsg(); CopyArea('MAIL'); CopyArea('ECHO'); Scan('MAIL'); ReadMsg(); out(GetRawMsg()); out(GetHdr())});
    $r->ended_well;
    is(-s $s->path('ECHO.jlr'), 0, 'an empty lastread file');
    is((stat $s->path('MAIL.jhr'))[2] & 0777, 0600, 'mode of a new base');
    whole($s, 'added', $_) for 'ECHO', 'MAIL';
    my $b = get_jam($s, 'MAIL');
    is_deeply([@$b{qw(signature mod active base password reserved)}], ["JAM\0", 1, 1, 1, 0xFFFFFFFF, "\0" x 1000], 'head');
    my $m = $b->{messages}[0];
    is_deeply($m->{sf}, [0, '2:999/1.3@testnet', 1, '2:999/100', 2, 'Bob', 3, 'LARRY', 6, 'Hello', 4, '2:999/1.3 abcd', 2000, 'REPLYTO x',
        7, 'p' x 40, 2003, 'XMA', 2000, 'TID: t', 2001, '1/2 3', 2002, '1/2', 2000, $VIA], 'subfields');
    is_deeply([@$m{qw(text number written attribute msgidcrc replycrc crc timesread offset)}],
        ["Hi\r", 1, 1714550400, 0x02008405, jam_crc('2:999/1.3 abcd'), 0xFFFFFFFF, jam_crc('larry'), 0, 1024], 'header');
    is(get_jam($s, 'ECHO')->{messages}[0]{attribute}, 0x01000000, 'echomail has its own bit, and no others');
    is_deeply($r->said->[0], ["\x01INTL 2:999/100 2:999/1", "\x01" . 'FMPT 3', "\x01MSGID: 2:999/1.3 abcd", "\x01REPLYTO x",
        "\x01PID: " . 'p' x 40, "\x01" . 'FLAGS DIR KFS XMA', "\x01TID: t", 'Hi', 'SEEN-BY: 1/2 3', "\x01PATH: 1/2", $OURS =~ s/\r//r], 'read back');
    is_deeply([@{$r->said->[1]}[0 .. 5]], ['Bob', '2:999/1.3', 'LARRY', '2:999/100', 'Hello', '01 May 24  08:00:00'], 'its header');
}

{    # Numbers, dead records, deleted headers, unknown and damaged subfields.
    my @sf = (2, 'Bob', 3, 'Al', 6, 'S');
    my $s = base('echomail', base => 100, config => "TOUCHECHOMAIL NO\n", messages => [undef,
        {sf => [@sf, 0, '5020/7', 8, 'trace', 2004, '0300', 2000, "X\x01Y", 4, 'm' x 300, 2001, '5/6', 2000, 'Via x'], text => "no end"},
        {attribute => 0x80000000},
        {sf => [0, '2:5020/7.3@dom', 9, 'file.zip', 2, 'N' x 60, 3, '', 2003, 'HUB NEW', 2000, ''], crc => 0xFFFFFFFF, attribute => 0x01000010, text => "a\0b"},
        {sf => [@sf, 7, 'x'], sflen => 34, attribute => 0x01000000}, {sf => [@sf, 7, 'y'], sflen => 38}], active => 4);
    my $r = $s->run(script => $READ);
    $r->ended_well;
    is_deeply($r->said, [['Bob', '2:5020/7', 'Al', '2:0/0', 'S'], ["\x01X", "\x01Y", "\x01MSGID: " . 'm' x 247, '', 'no end', 'SEEN-BY: 5/6', "\x01Via x"],
        ['N' x 35, '2:5020/7', '', '2:0/0', 'file.zip'], ["\x01FLAGS HUB", "\x01", 'a'],
        ['Bob', '2:0/0', 'Al', '2:0/0', 'S'], [''], ['Bob', '2:0/0', 'Al', '2:0/0', 'S'], ['']], 'what a script sees');
    $r->log_like(qr/^jam read: del attr set, but index != 0xffff$/);
}

{    # An update: what fits stays in its place, what has grown moves; what isn't ours stays as it is.
    my @sf = (0, '2:5020/7', 1, '2:999/100', 2, 'Bob', 3, 'Al', 6, 'S', 4, '2:5020/7 AB', 8, "tr\0ace", 3000, 'u' x 300, 2004, '0300');
    my %h = (attribute => 0x02000040 | 0x20000000 | 0x20400, reserved => 9, timesread => 4, replyto => 5, reply1st => 6, replynext => 7,
        received => 8, attribute2 => 11, cost => 12, passwordcrc => 13);
    my $s = base('', mod => 7, reserved => 'R' x 1000,
        messages => [{%h, sf => [0, '2:5020/7@testnet', @sf[2 .. $#sf], 2000, 'K' x 254, 2000, $VIA], text => "Hi\r"}, {%h, sf => \@sf, text => 'Ho'}]);
    my $old = get_jam($s, 'ECHO');
    my $r = $s->run(script => q{Scan('ECHO'); ReadMsg(); SetAttribute('@ CRASH'); ReadMsg(); SetAttribute('@ CRASH')});
    $r->ended_well;
    whole($s, 'updated');
    my $b = get_jam($s, 'ECHO');
    is_deeply([@$b{qw(mod active)}, $b->{reserved}], [9, 2, 'R' x 1000], 'head');
    for my $i (0, 1) {
        my ($m, $o) = ($b->{messages}[$i], $old->{messages}[$i]);
        is_deeply([@$m{qw(reserved timesread replyto reply1st replynext received attribute2 cost passwordcrc written number)}],
            [9, 4, 5, 6, 7, 8, 11, 12, 13, 1714550400, $i + 1], 'fields that are others\' stay');
        is($m->{attribute}, 0x22020540, 'attribute bits: CRASH is new, FLAGS bits and strange ones stay');
        is(join('|', @{$m->{sf}}[-6 .. -1]), "8|tr\0ace|3000|" . 'u' x 300 . '|2004|0300', 'strange subfields stay');
    }
    is(scalar(() = $b->{jhr} =~ /\Q${\pack 'vvV', 3000, 7, 300}/g), 3, 'the high halves of their ids, too');
    is($b->{messages}[0]{text}, "Hi\r", 'behind a kludge that fills its element');
    is($b->{messages}[0]{offset}, $old->{messages}[0]{offset}, 'a block that fits stays in its place');
    isnt($b->{messages}[1]{offset}, $old->{messages}[1]{offset}, 'a block that has grown moves');
    my $left = Quelmo::Jam::get_header($b, $old->{messages}[1]{offset});
    is_deeply([@$left{qw(attribute txtlen)}], [$h{attribute} | 0x80000000, 0], 'its old header is marked');
    is($b->{messages}[1]{text}, "Ho\r", 'a text that has grown');
    isnt($b->{messages}[1]{txtoffset}, $old->{messages}[1]{txtoffset}, 'moves, too');
}

{    # FLAGS words: a line that is all bits comes back; a line that goes takes its bits along.
    my @m = map { {sf => [0, '2:5020/7', 1, '2:999/100', 2, 'Bob', 3, 'Al', 6, $_, 2003, 'IMM', 2000, $VIA], attribute => 0x02000400} } 'keep', 'drop';
    my $s = base('', messages => \@m);
    $s->run(script => q{Scan('ECHO'); while (ReadMsg()) { SetAttribute((GetHdr())[4] eq 'keep' ? '@ AUDIT CRASH' : '@ !DIR !IMM') }})->ended_well;
    my ($keep, $drop) = @{get_jam($s, 'ECHO')->{messages}};
    is_deeply([sf_of($keep, 2003)], [''], 'an empty FLAGS subfield');
    is($keep->{attribute}, 0x02000700, 'its words are bits');
    is($drop->{attribute} & 0x600, 0, 'no line, no bits');
}

{    # The sender of an echomail keeps the point that no line tells of.
    my $s = base('echomail', messages => [map { {attribute => 0x01000000, sf => [0, $_, 2, 'Bob', 3, 'All', 6, 'S']} } '2:5020/7.12@dom', '2:5020/7']);
    $s->run(script => $CHANGE)->ended_well;
    is_deeply([map { sf_of($_, 0) } @{get_jam($s, 'ECHO')->{messages}}], ['2:5020/7.12@testnet', '2:5020/7@testnet'], 'addresses of echomail');
}

{    # A base that is full: sparse files of nearly 4 GB.
    for my $file (qw(jhr jdt)) {
        my $s = base('', areas => {IN => [{text => "Hi\r" x 9}]}, messages => [{text => "a\r"}]);
        truncate $s->path("ECHO.$file"), 0xFFFFFFF0;
        my $r = $s->run(script => q{Scan('IN'); ReadMsg(); Move('ECHO')});
        $r->log_like(qr/^JAM base is full: \*\.$file would pass 4 GB$/);
        $r->log_like(qr/^add_msg error: failed to add mail to JAM area, errno 10$/);
        is_deeply([-s $s->path("ECHO.$file"), -s $s->path('ECHO.jdx'), $s->files('IN')], [0xFFFFFFF0, 8, '1.msg'], "a full .$file refuses the message");
    }
}

{    # Kills: counters, lastread, and a rewind behind them. An add during the scan isn't part of it until then.
    my $s = base('', jlr => [4, 5, 6], base => 4, messages => [map { {sf => [2, 'Bob', 3, 'Al', 6, $_, 2000, $VIA], text => "$_\r"} } 'a', 'kill b', 'c']);
    my $r = $s->run(script => $KILL . q{;Rewind(); out(ReadMsg()); CopyArea('ECHO'); out((GetHdr())[4]) while ReadMsg(); Rewind(); out((GetHdr())[4]) while ReadMsg()});
    $r->ended_well;
    is_deeply($r->said, [[1], ['c'], ['a'], ['c'], ['a']], 'scans behind a kill and an add');
    my $b = get_jam($s, 'ECHO');
    is_deeply([map { $_ && $_->{number} } @{$b->{messages}}], [4, undef, 6, 7], 'index');
    is_deeply([@$b{qw(active mod)}], [3, 7], 'counters');
    is_deeply([unpack '(V4)*', $s->slurp('ECHO.jlr')], [1, 2, 4, 4, 1, 2, 4, 4, 1, 2, 6, 6], 'lastread');
    whole($s, 'killed and added');
}

{    # Somebody else holds the lock: nothing changes, the run goes on, and the message stays changed.
    my $s = base('', areas => {IN => [{text => "Hi\r"}]}, messages => [{sf => [2, 'Bob', 3, 'Al', 6, 'kill'], text => "a\r"}]);
    my $before = join '', map { $s->slurp("ECHO.$_") } qw(jhr jdt jdx);
    open my $lock, '+<', $s->path('ECHO.jhr') or die;
    my $byte_0 = pack 's s x4 q q i x4', F_WRLCK, SEEK_SET, 0, 1, 0;
    fcntl($lock, F_SETLK, $byte_0) or die "lock: $!";
    my $r = $s->run(script => "Scan('IN'); ReadMsg(); out(CopyArea('ECHO')); $CHANGE; $KILL");
    $r->ended_well;
    is(join('', map { $s->slurp("ECHO.$_") } qw(jhr jdt jdx)), $before, 'locked: not a byte has changed');
    $r->log_like(qr/^error locking JAM base$/);
    $r->log_like(qr/^add_msg error: failed to add mail to JAM area, errno 15$/);
    $r->log_like(qr/^update_msg: failed to update JAM message$/);
}

{    # Another program rewrites the message, or packs the base, between read and write: neither is overwritten.
    my $s = base('', messages => [map { {sf => [2, 'Bob', 3, 'Al', 6, 'kill', 2000, $VIA], text => "a\r"} } 1, 2]);
    my $touch = q{open my $f, '+<', "$ENV{QUELMO}/ECHO.jhr"; seek $f, 1024 + 52, 0; print $f pack 'V', 0x02000010; close $f; };
    my $r = $s->run(script => "Scan('ECHO'); ReadMsg(); $touch out(Kill()); ReadMsg(); out(Kill())");
    $r->ended_well;
    is_deeply([map { $_ ? 1 : 0 } @{get_jam($s, 'ECHO')->{messages}}], [1, 0], 'only the message that stood still is killed');
    $r->log_like(qr/^JAM message 1 changed since it was read$/);
}

# Bases that lie: what is done to a good one, and the code that a read ends with (0: the area ends well).
my @DAMAGE = (
    ['header past the file' => {offset => 5000}, 9], ['header in the head' => {offset => 0}, 19], ['huge offset' => {offset => 0xFFFFFFF0}, 9],
    ['signature' => {signature => 'JAB'}, 19], ['revision' => {revision => 2}, 20], ['subfields past the file' => {sflen => 0xFFFFFFFF}, 9],
    ['text of 4 GB' => {txtlen => 0xFFFFFFFF}, 9], ['text past the file' => {txtoffset => 0xFFFFFFF0}, 9],
    ['no text anywhere' => {txtoffset => 0xFFFFFFF0, txtlen => 0}, 0], ['count too high' => {}, 0, active => 9],
    ['count 0' => {}, 0, active => 0, seen => 0], ['half an index record' => {}, 9, active => 9, tail => "\0\0\0", seen => 2],
    ['half an index record behind the count' => {}, 0, tail => "\0\0\0"],
);
for my $d (@DAMAGE) {
    my ($name, $fields, $code, %o) = @$d;
    my $s = base('', messages => [{%$fields, text => "Hi\r"}, {}], %o);
    $s->spew('ECHO.jdx', $s->slurp('ECHO.jdx') . ($o{tail} // ''));
    my $r = $s->run(script => "$READ;1", timeout => 20);
    if ($code) {
        $r->stopped(qr//, "$name: the run is stopped");
        $r->log_like(qr/^read_msg error: JAM area read failed with errno: $code$/, "$name: code $code");
    } else {
        $r->ended_well("$name: the scan ends well");
    }
    is(@{$r->said} / 2, $o{seen} // ($code ? 0 : 2), "$name: messages read");
    my ($found) = jam_check($s, 'ECHO');
    is($found, $name =~ /no text/ ? 0 : 1, "$name: the check");
}

for my $size (0, 1, 255, 1023, 1024) {    # a head that is none
    my $s = base('', messages => [{}]);
    $s->spew('ECHO.jhr', "\1" x $size);
    my $code = $size < 1024 ? 9 : 19;
    my $r = $s->run(script => "$READ;1");
    $r->stopped(qr/error initializing area : ECHO/, "head of $size bytes: the run is stopped");
    $r->log_like(qr/^JAMselect error: init failed with errno: $code$/);
    is((jam_check($s, 'ECHO'))[0], 2, 'the check can\'t read it');
}

{    # A full disk, made by a limit on file sizes: the base is as it was, and so is the source.
    my $s = base('', areas => {IN => [{text => 'x' x 70000 . "\r"}]}, messages => [map { {text => 'y' x 1000 . "\r"} } 1 .. 40]);
    my $before = join '', map { $s->slurp("ECHO.$_") } qw(jhr jdt jdx);
    my $r = $s->run(script => q{Scan('IN'); ReadMsg(); out(Move('ECHO')); }, wrap => ['bash', '-c', 'trap "" XFSZ; ulimit -f 64; exec "$@"', '-']);
    $r->log_like(qr/^add_msg error: failed to add mail to JAM area, errno 10$/);
    is(join('', map { $s->slurp("ECHO.$_") } qw(jhr jdt jdx)), $before, 'a write that fails leaves nothing');
    is_deeply([$s->files('IN')], ['1.msg'], 'the message stays where it was');
}

{    # Time stamps: the date of the last write counts, else those of arrival and of writing.
    my @dates = ([100, 0, 0], [500, 100, 0], [100, 500, 0], [900, 900, 200], [100, 100, 600], [100, 0, 300]);
    my $s = base('echomail', config => "TOUCHECHOMAIL NO\n", messages => [map { {written => $_->[0], received => $_->[1], processed => $_->[2],
        sf => [2, 'B', 3, 'A', 6, join ' ', @$_]} } @dates]);
    $s->spew('stamps', pack_stamps(ECHO => 300));
    my $r = $s->run(script => q{Scan('ECHO', 'stamps'); while (ReadMsg()) { out((GetHdr())[4]) }});
    is_deeply($r->said, [['100 500 0'], ['100 100 600']], 'messages behind the stamp');
    is_deeply([unpack_stamps($s->slurp('stamps'))], [[ECHO => 600]], 'the new stamp');
}
done_testing;
