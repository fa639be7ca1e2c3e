# Move, CopyArea, Kill: numbers, what the destination gets, what stays of the source, LASTREAD.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
my $NEW = via_like('2:999/100@testnet');
sub plain { return {from => $_[0], text => "Hi\r$OURS"} }

# Numbers of new messages in a directory that holds these names; the script moves two messages.
for my $case (
    [[], 1, 2], [['3.msg', '7.msg'], 8, 9], [['3.msg', '7.MSG'], 8, 9], [['0.msg'], 1, 2], [['9.msg', '10.msg'], 11, 12],
    [['99999.msg'], 100000, 100001], [['x.msg', '12.msg.bak', 'LASTREAD'], 1, 2], [['007.msg'], 8, 9],
) {
    my ($names, @expected) = @$case;
    my $s = scenario(
        areas => {NETMAIL => [plain('a'), plain('b')], OUT => {map { $_ => 'old' } @$names}},
        script => q{ Scan('NETMAIL'); while (ReadMsg()) { out(Move('OUT')) } },
    );
    my $r = $s->run;
    is_deeply([grep { my $n = $_; !grep { $n eq $_ } @$names } $s->files('OUT')], [map { "$_.msg" } @expected], "numbers beside @$names");
    like($r->said->[0][0], qr{\Q$_\E$}, 'Move gives the path') for "OUT/$expected[0].msg";
    is_deeply([$s->files('NETMAIL')], [], 'the source is empty');
    is_deeply([map { $s->slurp("OUT/$_") } @$names], [('old') x @$names], 'nothing is overwritten');
}

{    # Somebody else takes numbers meanwhile, in another spelling too.
    my $s = scenario(
        areas => {NETMAIL => [map { plain("m$_") } 1 .. 4], OUT => {'3.msg' => 'old'}},
        script => q{
            Scan('NETMAIL'); my $n = 0;
            while (ReadMsg()) {
                my $name = (undef, 'OUT/5.msg', 'OUT/7.MSG')[$n++];
                if ($name) { open my $f, '>', $name; print $f 'theirs' }
                Move('OUT');
            }
        },
    );
    mkdir $s->path('OUT/2.msg');
    $s->run->ended_well;
    my %at = map { my $m = $s->msg('OUT', $_); $_ => ($m ? $m->{from} : $s->slurp("OUT/$_")) } grep { /^[3-9]|^1\d/ } $s->files('OUT');
    is_deeply(\%at, {'3.msg' => 'old', '4.msg' => 'm1', '5.msg' => 'theirs', '6.msg' => 'm2', '7.MSG' => 'theirs', '8.msg' => 'm3', '9.msg' => 'm4'},
        'a number that is taken is passed over');
}

{    # What a moved and a copied message look like, and the log.
    my %source = (from => 'Bob', to => 'Ann', subject => 'S', date => '05 Mar 99  10:11:12', attr => 0x81, orig => '5020/100', dest => '1/2',
        times_read => 3, cost => 5, reply_to => 6, next_reply => 7, dest_zone => 8, orig_zone => 9, dest_point => 10, orig_point => 11,
        text => "\x01INTL 2:1/2 1:5020/100\r\x01FLAGS DIR XX\r\x01MSGID: 1:5020/100 1\rHi\r\nHo\r--- t\r * Origin: o (1:5020/100)\rSEEN-BY: 1/2\r$OURS");
    my $s = scenario(areas => {NETMAIL => [\%source, \%source], OUT => []}, script => q{
        Scan('NETMAIL');
        ReadMsg(); my $all = join "\n", GetHdr(), GetMsg(); out(CopyArea('out')); out($all eq join "\n", GetHdr(), GetMsg());
        ReadMsg(); out(Move(' "OUT" ')); out(scalar(GetHdr()), scalar(GetMsg()), Move('OUT'), CopyArea('OUT'), Kill());
        out(ReadMsg());
    });
    my $r = $s->run(argv => ['-d', 3, 'route']);
    is_deeply([map { $_->[0] =~ s/.*home\///r } @{$r->said}[0, 2]], ['OUT/1.msg', 'OUT/2.msg'], 'results');
    is_deeply([@{$r->said}[1, 3, 4]], [[1], [(undef) x 5], [0]], 'a copy leaves the message in memory, a move none');
    is($s->slurp('NETMAIL/1.msg'), pack_msg(%source), 'a copied message isn\'t rewritten');
    my $expected = pack_msg(%source, map({ $_ => 0 } qw(times_read cost reply_to next_reply dest_zone orig_zone dest_point orig_point)));
    is($s->slurp("OUT/$_.msg"), "$expected\0", "OUT/$_.msg: header, text and one NUL") for 1, 2;
    is((stat $s->path('OUT/1.msg'))[2] & 07777, 0600, 'mode of a new message');
    my @log = grep { /^(\d+ Bob|   )/ } @{$r->log};
    is_deeply(\@log, ['1 Bob (1:5020/100) -> Ann (2:1/2)', '   1 created in OUT', '   Copied to area OUT',
        '2 Bob (1:5020/100) -> Ann (2:1/2)', '   2 created in OUT', '   Moved to area OUT'], 'log');
    is(scalar(grep { /^perl_(?:Move|CopyArea|Kill)\b.*no active message in memory/ } @{$r->log}), 3, 'log lines of calls without a message');
    $r->log_like(qr/Read : 2  Written : 2$/);
}

{    # Echomail destination: what only netmail has goes; attributes go unless -a gives some.
    my $text = "\x01INTL 2:1/2 2:3/4\r\x01FMPT 1\r\x01TOPT 2\r\x01DOMAIN x\r\x01FLAGS DIR XX\r\x01MSGID: 2:3/4.1 1\r\x01PID: p\r"
      . "Hi\r--- t\r * Origin: o (2:3/4.1)\rSEEN-BY: 1/2\r\x01PATH: 1/2\r\x01Recv x\r$OURS";
    my $kept = "\x01MSGID: 2:3/4.1 1\r\x01PID: p\rHi\r--- t\r * Origin: o (2:3/4.1)\rSEEN-BY: 1/2\r\x01PATH: 1/2\r";
    my $s = scenario(
        areas => {NETMAIL => [map { {text => $_, attr => 0x181, orig => '3/4', dest => '1/2'} } ($text) x 3, "\x01FLAGS XX\rHi\r$OURS"], ECHO => []}, echo => ['ECHO'],
        script => q{
            Scan('NETMAIL');
            ReadMsg(); Move('ECHO');
            ReadMsg(); Move('ECHO', '-a @CRASH ZON', '-e my.echo');
            ReadMsg(); Move('ECHO', '-f @2:5/6 New Name');
            ReadMsg(); Move('ECHO');
        },
    );
    $s->run->ended_well;
    my @new = map { $s->msg('ECHO', $_) } 1 .. 4;
    is($new[0]{attr}, 0, 'attributes go');
    is($new[0]{text}, "$kept\0", 'netmail kludges and known FLAGS words go');
    is($new[1]{attr}, 2, 'attributes of -a');
    is($new[1]{text}, "AREA:MY.ECHO\r\x01FLAGS ZON\r$kept\0", 'AREA line and FLAGS of the options');
    is($new[2]{from}, 'New Name', 'new sender');
    is($new[3]{text}, "Hi\r\0", 'FLAGS with unknown words only goes too');
    like($new[2]{text}, qr/\A\x01MSGID: 2:5\/6 [0-9a-f]{8}\r\x01PID: p\rHi\r--- t\r \* Origin: o \(2:5\/6\)\rSEEN-BY: 1\/2\r\x01PATH: 1\/2\r\0\z/,
        'a new sender: MSGID and Origin follow');
}

{    # Netmail options: addresses, kludges, the last Via, texts.
    my $text = "\x01INTL 2:1/2 2:3/4\r\x01FMPT 1\r\x01MSGID: 2:3/4.1 1\rOne\rTwo\r$OURS";
    my $s = scenario(areas => {NETMAIL => [{text => $text, orig => '3/4', dest => '1/2', attr => 1}], OUT => []}, script => q{
        Scan('NETMAIL'); ReadMsg();
        CopyArea('OUT', '-t @2:7/8.9 New Reader', '-f @2:5/6', '-s @A new subject', '-a @!PRIVATE HOLD DIR', '-l2 @inserted', '-r @tear', '-o @orig',
            '-d 12 Jan 99  12:00:00', '-u @2:9/9');
        CopyArea('OUT', '-l @' . 'x' x 600);
        out(GetHdr());
        CopyArea('OUT', map({ "-s \@$_" } 1 .. 11));
    });
    my $r = $s->run;
    $r->ended_well;
    my ($m, $long, $eleven) = map { $s->msg('OUT', $_) } 1 .. 3;
    is_deeply([@$m{qw(from to subject date attr orig_net orig_node dest_net dest_node)}],
        ['Some Sender', 'New Reader', 'A new subject', '12 Jan 99  12:00:00', 0x200, 5, 6, 7, 8], 'header by options');
    like($m->{text}, qr{\A\x01INTL 2:7/8 2:5/6\r\x01TOPT 9\r\x01FLAGS DIR\r\x01MSGID: 2:3/4\.1 1\rOne\rinserted\rTwo\r--- tear\r \* Origin: orig \(2:5/6\)\r$NEW\0\z},
        'kludges follow the addresses, texts stand in their places');
    is($long->{text}, $text =~ s/One/('x' x 600) . "\rOne"/er . "\0", 'a long line given directly comes out whole');
    is($eleven->{subject}, 9, 'ten arguments are read');
    is($s->msg('NETMAIL', 1)->{text}, $text, 'the source is as it was');
}

# A destination that fails: nothing is lost, nothing is doubled, the run goes on.
for my $action ('Move', 'CopyArea') {
    my $s = scenario(areas => {NETMAIL => [map { plain("m$_") } 1 .. 3], OUT => [], GONE => []}, script => qq{
        Scan('NETMAIL'); rmdir 'GONE'; my \$n = 0;
        while (ReadMsg()) { out($action(\$n++ == 1 ? 'GONE' : 'OUT'), scalar GetHdr()) }
    });
    my $r = $s->run;
    $r->ended_well;
    is($s->msg('NETMAIL', 2)->{from}, 'm2', "$action: the source stands");
    is_deeply([map { $s->msg('OUT', $_)->{from} } 1, 2], ['m1', 'm3'], "$action: the others arrived");
    is($r->said->[1][0], '', 'no name is given');
    is(defined $r->said->[1][1] ? 1 : 0, $action eq 'Move' ? 0 : 1, 'Move takes it out of memory all the same');
    $r->log_like(qr/^add_msg error: failed to add mail to fido area$/);
    $r->log_like($action eq 'Move' ? qr/^perl_Move\(\) move failed$/ : qr/^error: CopyArea failed$/);
}

{    # An unknown area or a bad option stops the run, with the change before it saved and the message in its place.
    for my $call (q{Move('NOWHERE')}, q{CopyArea('NOWHERE')}, q{Move('OUT', '-x @1')}, q{Move('OUT', '-s NOBLOCK')}, q{CopyArea('OUT', '-h nofile')}, 'Move()') {
        my $s = scenario(areas => {NETMAIL => [plain('a')], OUT => []}, script => qq{ Scan('NETMAIL'); ReadMsg(); SetAttribute('\@ AUDIT'); $call; });
        my $r = $s->run;
        $r->stopped(qr/perl_|read_tpl/, "$call stops the run");
        is($s->msg('NETMAIL', 1)->{attr}, 0x4000, 'the change is saved');
        is_deeply([$s->files('OUT')], [], 'nothing was added');
    }
}

{    # Into the current area; a change that is pending goes along.
    my $s = scenario(areas => {NETMAIL => [plain('a'), plain('b')]}, script => q{
        Scan('NETMAIL'); while (ReadMsg()) { SetAttribute('@ AUDIT'); Move('NETMAIL') } 
    });
    $s->run->ended_well;
    is_deeply([$s->files('NETMAIL')], ['3.msg', '4.msg'], 'the new messages aren\'t read in the same scan');
    is_deeply([map { $s->msg('NETMAIL', $_)->{attr} } 3, 4], [0x4000, 0x4000], 'changed before the move');
}

# LASTREAD: the killed number becomes the one of the message read before it, everything else stays.
for my $case (
    [['10.msg', '12.msg'], [12, 9, 12, 10], '12', [10, 9, 10, 10]], [['10.msg', '12.msg'], [10, 12], '10', [0, 12]],
    [['10.msg', '12.msg', '14.msg'], [14, 12, 10], '12 14', [10, 10, 10]], [['70000.msg'], [70000 & 0xffff, 5], '70000', [70000 & 0xffff, 5]],
    [['1.msg'], [], '1', []],
) {
    my ($files, $marks, $kill, $expected) = @$case;
    for my $action ('Kill()', q{Move('OUT')}) {
        my $s = scenario(
            areas => {NETMAIL => {map({ $_ => plain($_ =~ s/\.msg//r) } @$files), LASTREAD => pack_lastread(@$marks)}, OUT => []},
            script => qq{ Scan('NETMAIL'); while (ReadMsg()) { my \$n = (GetHdr())[0]; $action if grep { \$_ == \$n } split ' ', '$kill' } },
        );
        my $r = $s->run;
        is_deeply([unpack_lastread($s->slurp('NETMAIL/LASTREAD'))], $expected, "LASTREAD @$marks after $action of $kill");
        is(scalar(grep { /\.msg/ } $s->files('NETMAIL')), @$files - split(' ', $kill), 'the files are gone');
        $r->log_like(qr/^   Killed/) if $action eq 'Kill()';
    }
}
{
    my $s = scenario(areas => {NETMAIL => {'5.msg' => plain('a'), lastread => pack('vvC', 5, 7, 5)}}, script => q{
        Scan('NETMAIL'); ReadMsg(); Kill();
    });
    $s->run->ended_well;
    is($s->slurp('NETMAIL/lastread'), pack('vvC', 0, 7, 5), 'LASTREAD in small letters and of odd length');
    $s->area('NETMAIL', {'6.msg' => plain('b')});
    $s->run(script => q{ Scan('NETMAIL'); ReadMsg(); unlink 'NETMAIL/6.msg'; Kill(); out(scalar GetHdr()); })->log_like(qr/^error: Kill failed/);
}
done_testing;
