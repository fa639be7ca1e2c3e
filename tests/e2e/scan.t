# Which files of a directory are messages, their order, the end of an area, Rewind, time stamps.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
my $NAMES = q{ while (ReadMsg()) { out((GetHdr())[0]) } };
sub named { return {from => $_[0], text => "Hi\r$OURS"} }
sub names_said { return [map { $_->[0] } @{$_[0]->said}] }

{
    my @messages = ('.msg', '2.MSG', '007.msg', '9.Msg', '10.msg', '70000.msg');
    my @others = ('a12.msg', '12.msg.bak', '12msg', 'msg', '1 2.msg', '-3.msg');
    my $s = scenario(areas => {NETMAIL => {map { $_ => named($_) } @messages, @others}});
    mkdir $s->path('NETMAIL/5.msg');
    $s->spew('NETMAIL/6.msg', substr pack_msg(), 0, 189);
    $s->spew('NETMAIL/8.msg', '');
    my $r = $s->run(script => "Scan('netmail');$NAMES out(ReadMsg(), ReadMsg()); Scan('NETMAIL'); out(ReadMsg());");
    $r->ended_well;
    my $said = names_said($r);
    is_deeply([splice @$said, 0, 6], \@messages, 'messages come by number, whatever the case of the name');
    is_deeply($r->said->[6], [0, 0], 'the end of the area stays the end');
    is_deeply($r->said->[7], [1], 'a second Scan begins anew');
    $r->log_like(qr/error reading fido msg file : `.*NETMAIL.$_'/, "$_ is skipped with a log line") for '5.msg', '6.msg', '8.msg';
    is(length $s->slurp('NETMAIL/6.msg'), 189, 'a file cut short is left alone');
    ok(-d $s->path('NETMAIL/5.msg'), 'so is a directory');
}

{
    my $s = scenario(areas => {NETMAIL => [], OTHER => [named('x')]}, config => "TEXTAREA notes.txt NOTES\n");
    my $r = $s->run(script => q{
        for my $area ('NETMAIL', 'NOTES', '  other ') { out(Scan($area), ReadMsg(), ReadMsg(), scalar(@{[GetHdr()]})) }
    });
    is_deeply($r->said, [[1, 0, 0, 1], [1, 0, 0, 1], [1, 1, 0, 1]], 'empty areas and text areas hold no message');
    is($s->run(script => 'ReadMsg()')->code, 1, 'ReadMsg needs an area');
    $s->run(script => 'ReadMsg()')->stopped(qr/perl_readMsg\(\) no area selected/);
    $s->run(script => 'Rewind()')->stopped(qr/perl_Rewind\(\) no area selected/);
    my $chat = $s->run(script => "Scan('other');$NAMES", argv => ['-d', 4, 'route'], env => {});
    unlike($chat->out, qr/Scanning/, 'CHAT OFF: no progress');
    $s->spew('quelmo.cfg', $s->slurp('quelmo.cfg') =~ s/CHAT OFF/CHAT ON/r);
    like($s->run->out, qr/reading configuration file.*Executing script: .*route\.pl\n.*\nScanning OTHER\rScanning OTHER         1\r/s,
        'progress on stdout');
}

{    # A pending change is saved by Scan, even by one that then stops the run, and by Rewind.
    for my $next (q{Scan('OTHER')}, q{Scan('NOWHERE')}, q{Rewind(); ReadMsg(); out(GetAttribute())}, '1', 'exit 3', 'die "x"') {
        my $s = scenario(areas => {NETMAIL => [named('a'), named('b')], OTHER => []});
        my $r = $s->run(script => "Scan('NETMAIL'); ReadMsg(); SetAttribute('\@ AUDIT'); $next;");
        is($s->msg('NETMAIL', 1)->{attr}, 0x4000, "the change is saved: $next");
        is($s->msg('NETMAIL', 2)->{attr}, 0, "and only that: $next");
        $r->stopped(qr/perl_Scan\(\) area not defined: `NOWHERE'/) if $next =~ /NOWHERE/;
        is($r->said->[0][0], 'AUDIT LASTVIA SEEN', 'Rewind gives the first message again, as stored') if $next =~ /Rewind/;
        ok(!-e $s->path('quelmo.bsy'), "the lock is gone: $next");
    }
}

# Time stamps: a file is read if its modification time, shifted by the zone, is above the area's stamp.
for my $zone (['UTC', 0], ['XXX-3', 3 * 3600]) {
    my ($tz, $shift) = @$zone;
    my $s = scenario(
        config => "TIMESTAMPPATH stamps\n", areas => {A => [map { named("a$_") } 1 .. 3], B => [named('b1')], C => []},
        script => "Scan('A', ' new.ts ');$NAMES Scan('B');$NAMES",
    );
    mkdir $s->path('stamps');
    $s->spew('quelmo.cfg', $s->slurp('quelmo.cfg'));
    utime $_->[1], $_->[1], $s->path("A/$_->[0].msg") for [1, 1_000_000], [2, 1_000_005], [3, 1_000_003];
    my @run = (env => {TZ => $tz});
    is_deeply(names_said($s->run(@run)), [qw(a1 a2 a3 b1)], "$tz: without a stamp all are read");
    my %stamps = map { @$_ } unpack_stamps($s->slurp('stamps/new.ts'));
    is_deeply(\%stamps, {A => 1_000_005 + $shift, B => 0, C => 0}, "$tz: the newest time is kept, for the area with the file");
    is_deeply(names_said($s->run(@run)), ['b1'], "$tz: equal and older times aren't read again");
    utime 1_000_006, 1_000_006, $s->path('A/1.msg');
    is_deeply(names_said($s->run(@run)), [qw(a1 b1)], "$tz: one second later it is");
    $s->spew('stamps/new.ts', pack_stamps(UNKNOWN => 5, a => 1_000_004 + $shift, B => 77) . 'a short rest');
    is_deeply(names_said($s->run(@run)), [qw(a1 a2 b1)], "$tz: tags of the file ignore case");
    is_deeply({map { @$_ } unpack_stamps($s->slurp('stamps/new.ts'))}, {A => 1_000_006 + $shift, B => 77, C => 0},
        "$tz: the file is written whole, without tags of no area");
    $s->run(@run, script => q{Scan('A', 'new.ts'); Rewind(); Scan('A', 'other.ts'); while (ReadMsg()) { SetAttribute('@ AUDIT') }});
    my %new = map { @$_ } unpack_stamps($s->slurp('stamps/other.ts'));
    cmp_ok(abs($new{A} - $shift - time), '<', 100, "$tz: a message written back counts as of now");
    is_deeply(names_said($s->run(@run, script => "Scan('A', 'other.ts');$NAMES")), [], "$tz: and isn't read again");
}
done_testing;
