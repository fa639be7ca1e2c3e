# A changed message goes back over its file: which bytes, which mode, and what happens when that can't be done.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
my $NEW = via_like('2:999/100@testnet');
my $READ_ALL = q{ Scan('NETMAIL'); 1 while ReadMsg(); };
my $CHANGE_ALL = q{ Scan('NETMAIL'); while (ReadMsg()) { SetAttribute('@ AUDIT') } };

{    # Only the changed message is touched, and of its header only what changed; mode, owner, neighbours stay.
    my %words = (times_read => 3, cost => 77, reply_to => 4, next_reply => 5, dest_zone => 6, orig_zone => 7, dest_point => 8,
        orig_point => 9, attr => 0x0101, orig => '5020/100', dest => '5020/1');
    my %odd = (from_field => "Bob\0left-over", to_field => "T" x 36, subject_field => "S" x 72, date_field => "01 May 24  08:00:00X");
    my $s = scenario(
        areas => {NETMAIL => {'3.MSG' => {%words, %odd, text => "Hi\r"}, '9.msg' => {text => "Bye\r$OURS"}, 'notes.txt' => 'x',
            '1.#' => 'stale', '2.#' => 'not ours to touch'}},
        script => $CHANGE_ALL =~ s/\{ SetA/{ (GetHdr())[0] eq 'Bob' or next; SetA/r,
    );
    chmod 0640, $s->path('NETMAIL/3.MSG');
    chown 12345, 23456, $s->path('NETMAIL/3.MSG') if $> == 0;
    utime 1000, 1000, map { $s->path("NETMAIL/$_") } $s->files('NETMAIL');
    my $ours = $s->slurp('NETMAIL/9.msg');
    my $r = $s->run(argv => ['-d', 1, 'route']);
    $r->ended_well;
    my $m = $s->msg('NETMAIL', '3.MSG');
    is($m->{attr}, 0x4101, 'the attribute is set');
    is_deeply([@$m{qw(times_read cost reply_to next_reply dest_zone orig_zone dest_point orig_point)}], [3, 77, 4, 5, 6, 7, 8, 9], 'words stay');
    is_deeply([@$m{qw(orig_net orig_node dest_net dest_node)}], [5020, 100, 5020, 1], 'addresses stay');
    is($m->{from_field}, "Bob" . "\0" x 33, 'no left-over bytes behind a name');
    is($m->{to_field}, 'T' x 35 . "\0", 'a name without NUL ends in one');
    is($m->{subject_field}, 'S' x 71 . "\0", 'a subject too');
    is($m->{date_field}, "01 May 24  08:00:00\0", 'a date too');
    like($m->{text}, qr/\AHi\r$NEW\0\z/, 'text, Via, NUL');
    my @stat = stat $s->path('NETMAIL/3.MSG');
    is($stat[2] & 07777, 0640, 'the mode stays');
    is("$stat[4] $stat[5]", '12345 23456', 'the owner stays') if $> == 0;
    is($s->slurp('NETMAIL/9.msg'), $ours, 'the neighbour stays');
    is((stat $s->path('NETMAIL/9.msg'))[9], 1000, 'untouched');
    is($s->slurp('NETMAIL/2.#'), 'not ours to touch', 'a stranger\'s file stays');
    is_deeply([grep { !/^(1\.#|2\.#|notes\.txt)$/ } $s->files('NETMAIL')], ['3.MSG', '9.msg'], 'no new file');
    isnt($s->slurp('NETMAIL/1.#') // 'gone', 'Hi', 'no temporary file stays');
    $r->log_like(qr/^1 Bob \(2:5020\/100\) -> T{35} \(2:5020\/1\)$/);
    $r->log_like(qr/^   1 updated in NETMAIL$/);
    $r->log_like(qr/Read : 2  Written : 1$/);
}

# Bodies and what an update makes of them, ahead of the Via line and the NUL.
my %BODIES = (
    "a\rb" => "a\rb\r", '' => '', "\r" => "\r", "a\r\nb\r\n" => "a\r\nb\r\n", "a\nb\n" => "a\nb\n\r", "a\r\r\n\n\rb\r" => "a\r\r\n\n\rb\r",
    "a\r\0b\r" => "a\r", "a\0" => "a\r", "a\r\0\0\0" => "a\r", "\0a" => '',
    join('', map { chr } 1 .. 255) . "\r" => join('', map { chr } 1 .. 255) . "\r",
    "SEEN-BY: 1/2 3\rPATH\r" => "SEEN-BY: 1/2 3\rPATH\r",
    "\x01" . 'k' x 700 . "\r" => "\x01" . 'k' x 700 . "\r",
    map({ my $x = 'x' x $_; ("$x\r" => "$x\r", "$x\r\n" => "$x\r\n", "$x\ry" => "$x\ry\r") } 253 .. 257, 508 .. 512, 5000),
    map({ my $x = 'x' x $_; ($x => "$x\r") } 253, 254, 256, 509, 511, 5000),
);
{
    my @bodies = sort keys %BODIES;
    my $s = scenario(areas => {NETMAIL => [map { {text => $_} } @bodies]});
    $s->run(script => $READ_ALL)->ended_well;
    for my $i (0 .. $#bodies) {
        my $shown = length $bodies[$i] > 60 ? length($bodies[$i]) . ' bytes' : join ' ', unpack '(H2)*', $bodies[$i];
        like($s->msg('NETMAIL', $i + 1)->{text}, qr/\A\Q$BODIES{$bodies[$i]}\E$NEW\0\z/, "body $shown");
    }
    my %before = map { $_ => $s->slurp("NETMAIL/$_") } $s->files('NETMAIL');
    $s->run(script => $READ_ALL)->log_unlike(qr/updated/);
    is_deeply({map { $_ => $s->slurp("NETMAIL/$_") } $s->files('NETMAIL')}, \%before, 'nothing is written by a second run');
    $s->run(script => $CHANGE_ALL)->ended_well;
    my $wrong = grep { $s->msg('NETMAIL', $_) && $s->msg('NETMAIL', $_)->{text} ne substr $before{"$_.msg"}, 190 } 1 .. @bodies;
    is($wrong, 0, 'a second rewrite keeps each text as it is');
}

{    # A last line of exactly 255 bytes gets no CR of its own: nothing of it is lost, and the Via line is found again.
    my $s = scenario(areas => {NETMAIL => [{text => 'x' x 255}, {text => 'x' x 510}]});
    $s->run(script => $READ_ALL);
    like($s->msg('NETMAIL', 1)->{text}, qr/\Ax{255}\r?$NEW\0\z/, '255 bytes without CR');
    like($s->msg('NETMAIL', 2)->{text}, qr/\Ax{510}\r?$NEW\0\z/, '510 bytes without CR');
    $s->run(script => $READ_ALL)->log_unlike(qr/updated/, 'the Via line is recognised');
}

# Dates on disk, and what an update stores; undef: the time of the run, with a log line.
my %DATES = (
    '01 Jan 99  12:00:00' => '01 Jan 99  12:00:00', '1 jan 99 1:2:3' => '01 Jan 99  01:02:03', '01 Jan 69  00:00:00' => '01 Jan 69  00:00:00',
    '02 Jan 70  00:00:00' => '02 Jan 70  00:00:00', 'Fri 26 Mar 99 12:05' => '26 Mar 99  12:05:00', 'fri  6 Mar 99 12:05' => '06 Mar 99  12:05:00',
    '29 Feb 24  23:59:59' => '29 Feb 24  23:59:59', 'Xyz 26 Mar 99 12:05' => undef, 'garbage' => undef, '' => undef,
    '01 Foo 99  12:00:00' => undef, '01 Jan 99  12:00' => undef, "\xff" x 20 => undef, '99999999999999999999' => undef,
    '01 Januaryjanuaryjan' => undef,
);
{
    my @dates = sort keys %DATES;
    my $s = scenario(areas => {NETMAIL => [map { {date => $_} } @dates]});
    my $r = $s->run(script => $CHANGE_ALL, argv => ['-d', 1, 'route']);
    my $month = join '|', qw(Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec);
    for my $i (0 .. $#dates) {
        my $new = $s->msg('NETMAIL', $i + 1)->{date_field};
        if (defined $DATES{$dates[$i]}) { is($new, "$DATES{$dates[$i]}\0", "date '$dates[$i]'") }
        else { like($new, qr/^\d\d (?:$month) \d\d  \d\d:\d\d:\d\d\0$/, "date '$dates[$i]': the time of the run") }
    }
    is(scalar(grep { /read_fido_msg error: invalid date/ } @{$r->log}), scalar(grep { !defined } values %DATES), 'each with a log line');
}

{    # A write that fails loses the change, never the message, and the scan goes on.
    my $s = scenario(areas => {NETMAIL => [map { {from => "m$_", text => "Hi\r"} } 1 .. 3]}, script => $CHANGE_ALL);
    mkdir $s->path("NETMAIL/2.#");
    $s->spew("NETMAIL/2.#/in-the-way", '');
    my $before = $s->slurp('NETMAIL/2.msg');
    my $r = $s->run;
    $r->ended_well('a failed write stops nothing');
    is($s->slurp('NETMAIL/2.msg'), $before, 'the old message stands');
    is_deeply([map { $s->msg('NETMAIL', $_)->{attr} } 1, 3], [0x4000, 0x4000], 'the others are written');
    $r->log_like(qr/^update_msg: error writing tmp file `.*2\.#'/);
}

{    # A disk that is full in the middle of a file (here: a limit on the size of files).
    my $big = 'x' x 99_999 . "\r$OURS";
    my $s = scenario(areas => {NETMAIL => [map { {from => "m$_", text => $_ == 2 ? $big : "Hi\r$OURS"} } 1 .. 4], OUT => []});
    my $before = $s->slurp('NETMAIL/2.msg');
    my @full = ('bash', '-c', 'trap "" XFSZ; ulimit -f 60; exec "$@"', 'bash');
    my $r = $s->run(wrap => \@full, script => $CHANGE_ALL);
    $r->ended_well('a full disk stops nothing');
    is($s->slurp('NETMAIL/2.msg'), $before, 'the message that didn\'t fit stands as it was');
    $r->log_like(qr/^update_msg: error writing tmp file/);
    is_deeply([$s->files('NETMAIL')], [map { "$_.msg" } 1 .. 4], 'no temporary file stays');
    $r = $s->run(wrap => \@full, script => q{ Scan('NETMAIL'); while (ReadMsg()) { (GetHdr())[0] eq 'm3' ? CopyArea('OUT') : Move('OUT') } });
    is($s->slurp('NETMAIL/2.msg'), $before, 'a message whose copy failed stays');
    is_deeply([map { $s->msg('OUT', $_)->{from} } $s->files('OUT')], [qw(m1 m3 m4)], 'nothing half stands in the destination');
    is_deeply([$s->files('NETMAIL')], ['2.msg', '3.msg'], 'the others are moved');
}

{    # The file went away, or became a directory, behind our back.
    my $s = scenario(areas => {NETMAIL => [map { {from => "m$_", text => "Hi\r"} } 1 .. 3]});
    my $r = $s->run(script => $CHANGE_ALL =~ s/SetA/unlink 'NETMAIL\/2.msg' if (GetHdr())[0] eq 'm2'; SetA/r);
    $r->ended_well;
    ok(!$s->msg('NETMAIL', 2), 'a message that somebody took away is not made anew');
    is_deeply([$s->files('NETMAIL')], ['1.msg', '3.msg'], 'and no temporary file stays');
    $r->log_like(qr/^update_msg: error/);
}

{    # Forgetting a change; a change that leaves everything as it was.
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r"}, {text => "Ho\r$OURS"}]});
    my @before = map { $s->slurp("NETMAIL/$_.msg") } 1, 2;
    my $r = $s->run(script => q{
        Scan('NETMAIL');
        ReadMsg(); SetAttribute('@ AUDIT !Changed'); out(scalar GetAttribute(), scalar(my @x = GetText()));
        ReadMsg(); SetAttribute('@ !PRIVATE'); out(GetAttribute()); SetAttribute('@ !changed'); out(GetAttribute());
    });
    is_deeply([map { $s->slurp("NETMAIL/$_.msg") } 1, 2], \@before, 'nothing is written');
    is_deeply($r->said, [[undef, 1], [' LASTVIA SEEN'], [' LASTVIA SEEN']], '!Changed drops a changed message only');
}
done_testing;
