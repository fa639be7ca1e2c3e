# Mail for a bink area: the scratch directory, and the outbound that is built of it, in all layouts.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');

# Header fields of a packet by name, its messages as texts, and what stands behind the last of them.
sub unpack_pkt {
    my ($bytes) = @_;
    return undef if !defined $bytes;
    my %h;
    @h{qw(onode dnode type onet dnet password aux ozone dzone opoint dpoint)} = (unpack('v2', $bytes), unpack('x18 v3 x2 a8', $bytes), unpack('x38 v x6 v4', $bytes));
    $h{password} =~ s/\0+$//;
    my ($rest, @msgs) = substr $bytes, 58;
    while ($rest =~ s/^\x02\0(.{12})(.{20})(.{0,35})\0(.{0,35})\0(.{0,71})\0([^\0]*)\0//s) {
        push @msgs, {to => $3, from => $4, subject => $5, text => $6, attr => (unpack 'v6', $1)[4], addrs => [(unpack 'v6', $1)[0 .. 3]]};
    }
    return {%h, msgs => \@msgs, rest => $rest};
}

# One message for each of the words: address, then -a words or nothing.
sub out_scenario {
    my ($area, $mail, %o) = @_;
    my $s = scenario(areas => {NETMAIL => $mail}, config => "DATA PASSWORDADDRESS PW\nsecret77x 2:5/6\n#END#\n" . ($o{config} // '') . "BINKAREA out OUT $area\n", script => $o{script} // q{
        Scan('NETMAIL'); while (ReadMsg()) { Move('OUT') } DoBinkOutbound('OUT');
    });
    mkdir $s->path('out');
    return $s;
}
sub mail { my ($to, $attr, %o) = @_; my ($zone, $net, $node, $point) = $to =~ m{(\d+):(\d+)/(\d+)(?:\.(\d+))?}; return {dest => "$net/$node", attr => $attr, %o,
    text => ($o{kludges} // '') . "\x01INTL $zone:$net/$node 2:999/1\r" . ($point ? "\x01TOPT $point\r" : '') . ($o{text} // "Hi $to\r") . $OURS} }
sub tree { my ($s, $dir) = @_; my $at = $s->path($dir); return [sort map { s{^\Q$at\E/}{}r } grep { -f } split /\n/, `find '$at'`] }
my $PRIVATE = 1;

# Flavours, zones, points, passwords, attaches, requests: the names in each layout.
my @MAIL = (mail('2:5/6', $PRIVATE), mail('2:5/6', $PRIVATE, text => "two\r"), mail('2:5/6.3', 2), mail('3:5/6', 0x200), mail('2:5/7', 0, kludges => "\x01FLAGS IMM\r"), mail('2:5/8', 0, kludges => "\x01FLAGS DIR\r"),
    mail('2:5/9', 0x12, subject => '/files/a.zip C:\\b.txt', kludges => "\x01FLAGS KFS\r"), mail('2:5/9', 0x10, subject => '/f/c'), mail('2:5/9', 0x800, subject => 'FILES  z.zip'));
my %names = (
    '' => {map { $_ => 1 } qw(out/00050006.out out/00050006.pnt/00000003.cut out.003/00050006.hut out/00050007.iut out/00050008.dut out/00050009.cut out/00050009.clo out/00050009.out out/00050009.flo out/00050009.req)},
    'NoMainZone' => {map { $_ => 1 } qw(out.002/00050006.out out.002/00050006.pnt/00000003.cut out.003/00050006.hut out.002/00050007.iut out.002/00050008.dut out.002/00050009.cut out.002/00050009.clo out.002/00050009.out out.002/00050009.flo out.002/00050009.req)},
    'Amiga4D' => {map { ("out/$_" => 1) } qw(2.5.6.0.out 2.5.6.3.cut 3.5.6.0.hut 2.5.7.0.iut 2.5.8.0.dut 2.5.9.0.cut 2.5.9.0.clo 2.5.9.0.out 2.5.9.0.flo 2.5.9.0.req)},
    'BrakeOutbound' => {map { ("out/testnet.$_" => 1) } qw(2.5.6.0.Normal.Mail 2.5.6.3.Crash.Mail 3.5.6.0.Hold.Mail 2.5.7.0.Immediate.Mail 2.5.8.0.Direct.Mail 2.5.9.0.Crash.Mail 2.5.9.0.Crash.List 2.5.9.0.Normal.Mail 2.5.9.0.Normal.List 2.5.9.0.Request)},
);
for my $kind (sort keys %names) {
    my $s = out_scenario("PW $kind", \@MAIL);
    my $r = $s->run;
    $r->ended_well("$kind outbound");
    my %found = map { $_ => 1 } grep { /^out/ } @{tree($s, '.')};
    is_deeply(\%found, $names{$kind}, "$kind: names");
    my ($list, $bare, $request) = map { my $what = $_; $s->slurp((grep { /$what/ } keys %found)[0]) } qr/5.*9.*(Crash.List|clo)$/, qr/5.*9.*(Normal.List|flo)$/, qr/req/i;
    is_deeply([$list, $bare, $request], ["^/files/a.zip\r\n^C:\\b.txt\r\n", "/f/c\r\n", "FILES\r\nz.zip\r\n"], "$kind: lists");
    my %pkt = map { $_ => unpack_pkt($s->slurp($_)) } grep { /(ut|Mail)$/ } keys %found;
    is_deeply([sort map { $_->{rest} } values %pkt], [("\0\0") x keys %pkt], "$kind: packets are whole");
    my ($main) = grep { $_->{dnode} == 6 && $_->{dzone} == 2 && !$_->{dpoint} } values %pkt;
    is_deeply([@$main{qw(type onode onet ozone dnet password)}, map { $_->{text} =~ /^\x01INTL.*?\r(.*?)\r/s } @{$main->{msgs}}], [2, 100, 999, 2, 5, 'secret77', 'Hi 2:5/6', 'two'], "$kind: header, messages");
    my ($point) = grep { $_->{dpoint} } values %pkt;
    is_deeply([@$point{qw(dnet dnode dpoint dzone password)}], [5, 6, 3, 2, ''], "$kind: a point");
    my ($attach) = grep { $_->{dnode} == 9 && $_->{msgs}[0]{attr} & 2 } values %pkt;
    is($attach->{msgs}[0]{subject}, 'a.zip b.txt', "$kind: bare names in the packet");
    is_deeply(tree($s, 'out.qlm'), [], "$kind: nothing is left in the scratch directory");
}

{    # A busy system waits, isBusy; damaged packets; lists without a line end; requests and attaches gather.
    my $s = out_scenario('', [mail('2:5/6', 0), mail('2:5/7', 0), mail('2:5/8', 0), mail('2:5/9', 0x10, subject => 'x')], script => q{
        Scan('NETMAIL'); while (ReadMsg()) { Move('OUT') } out(isBusy('OUT', '2:5/6'), isBusy('OUT', '2:5/7')); DoBinkOutbound('OUT');
    });
    my $head = pack 'v2 x14 v x38', 1, 2, 2;
    $s->spew('out/00050006.bsy', '')->spew('out/00050007.out', $head . "grunged")->spew('out/00050007.bad', 'older')->spew('out/00050008.out', $head . "\x02\0x\0\0")->spew('out/00050009.flo', '~old');
    my $r = $s->run;
    is_deeply($r->said, [[1, 0]], 'isBusy');
    $r->log_like(qr/^Skipping busy system: 2:5\/6/);
    is(scalar @{tree($s, 'out.qlm')}, 1, 'its mail waits');
    is_deeply([map { length unpack_pkt($s->slurp($_))->{rest} } 'out/00050007.out'], [2], 'a fresh packet in the place of a damaged one');
    my @bad = grep { /bad$/ } $s->files('out');
    is_deeply([sort map { $s->slurp("out/$_") } @bad], [sort 'older', $head . 'grunged'], 'which keeps its contents beside an older one');
    like($s->slurp('out/00050008.out'), qr/^\Q$head\E\x02\0x\x02\0.*Hi 2:5\/8.*\0\0\0$/s, 'mail behind the messages of an existing packet, whose header stays');
    is($s->slurp('out/00050009.flo'), "~old\r\nx\r\n", 'a list gets its line end first');
    ok(!grep({ /bsy/ && !/06/ } $s->files('out')), 'no flag is left');
    unlink $s->path('out/00050006.bsy');
    $s->run(script => q{DoAmiga4DOutbound('OUT')})->ended_well;
    is(unpack_pkt($s->slurp('out/00050006.out'))->{msgs}[0]{text} =~ /Hi 2:5/, 1, 'another run brings it in');
}

{    # An outbound that takes nothing more: the mail stays in the scratch directory, the packet as it was.
    my $s = out_scenario('', [mail('2:5/6', 0, text => 'x' x 60000 . "\r")], script => q{Scan('NETMAIL'); ReadMsg(); out(Move('OUT'))});
    my $old = pack('v2 x14 v x38', 1, 2, 2) . "\0\0";
    $s->run;
    $s->spew('out/00050006.out', $old);
    my $r = $s->run(script => q{DoBinkOutbound('OUT')}, wrap => ['prlimit', '--fsize=4096', '--']);
    $r->log_like(qr/^dobinkout: error writing \*\.OUT file/);
    is($s->slurp('out/00050006.out'), $old, 'the packet is as it was');
    is(scalar @{tree($s, 'out.qlm')}, 1, 'the mail is kept');
    $s->run(script => q{DoBinkOutbound('OUT')});
    is(length unpack_pkt($s->slurp('out/00050006.out'))->{msgs}[0]{text} > 60000, 1, 'and goes in later');

    # Nor is an empty file left behind: one in the outbound is a reason to call.
    $s = out_scenario('', [mail('2:5/6', 0, text => 'x' x 60000 . "\r")], script => q{Scan('NETMAIL'); ReadMsg(); Move('OUT')});
    my @full = ('prlimit', '--fsize=4096', '--');
    $s->run(wrap => \@full)->log_like(qr/^writeOIP: error writing/);
    is_deeply([tree($s, 'out.qlm'), $s->files('NETMAIL')], [[], '1.msg'], 'a packet that can not be begun');
    $s->spew('out.qlm/00000001.fif', pack('v4', 2, 5, 6, 0) . "/f/a\r\n" x 1000);
    $s->run(script => q{DoBinkOutbound('OUT')}, wrap => \@full)->log_like(qr/^dobinkFLO: error writing/);
    is_deeply([tree($s, 'out.qlm'), tree($s, 'out')], [['00000001.fif'], []], 'a list that can not be brought in');
}

{    # The lists of docs/formats/scratch.md, byte by byte.
    my $s = out_scenario('', [mail('2:5/6.3', 0x12, subject => '/f/a.zip b', kludges => "\x01FLAGS KFS\r")], script => q{Scan('NETMAIL'); ReadMsg(); Move('OUT')});
    $s->run;
    my ($name) = grep { /^[0-9a-f]{8}\.cif$/ } @{tree($s, 'out.qlm')};
    is(unpack('H*', $s->slurp("out.qlm/$name")), '02000500060003005e2f662f612e7a69700d0a5e620d0a', 'a list of attached files');
}

{    # Odd files in the scratch directory; a message that goes nowhere but as its attach; a dead area.
    my $s = out_scenario('', [mail('2:5/6', 0x10, subject => 'a b')], script => q{
        Scan('NETMAIL'); ReadMsg(); CopyArea('OUT', '-a @Dummyattach'); CopyArea('OUT', '-a @Ignoreattach'); DoBinkOutbound('OUT');
    });
    mkdir $s->path('out.qlm');
    $s->spew("out.qlm/$_->[0]", $_->[1]) for my @odd = (['00000001.oip', 'short'], ['00000002.hip', "\x03" x 58], ['00000003.fif', "\1\0\2"], ['a.gif', 'x' x 20], ['a.zip', 'x' x 80], ['noext', 'x']);
    my $r = $s->run;
    $r->ended_well;
    is_deeply([map { $s->slurp("out.qlm/$_->[0]") } @odd], [map { $_->[1] } @odd], 'odd files stay');
    is_deeply([tree($s, 'out'), $s->slurp('out/00050006.flo'), scalar @{unpack_pkt($s->slurp('out/00050006.out'))->{msgs}}], [['00050006.flo', '00050006.out'], "a\r\nb\r\n", 1], 'Dummyattach, Ignoreattach');
    $s->run(script => q{DoBrakeOutbound('NETMAIL')})->stopped(qr/perl_DoBrakeOutbound binkarea undefined: `NETMAIL'/);
    $s->run(script => q{isBusy('OUT', 'x')})->stopped(qr/incorrect address/);
}
done_testing;
