# Areas of packets: what a scan shows and leaves, where messages go that change or arrive, what becomes of damaged
# packets, and the functions that step through whole packets.

use strict;
use warnings;
use POSIX ();
use Quelmo::Pkt;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
sub block { my ($type, $tag, @lines) = @_; return "DATA $type $tag\n" . join("\n", @lines) . "\n#END#\n" }
my $CONFIG = block("PASSWORDADDRESS", "PW", "SECRET 2:999/1", "EIGHTLNG 2:999/7");

# A packed netmail that is ours already, so that reading it changes nothing.
sub seen { return {from => $_[0], text => "Text of $_[0]\r\n$OURS", @_[1 .. $#_]} }

sub pkts {
    my ($files, %o) = @_;
    my $s = scenario(%o, config => ($o{blocks} // $CONFIG) . "PKTAREA IN IN " . ($o{words} // '') . "\nPKTAREA TO TO PW\n");
    $s->area('TO', {});
    return $s->area('IN', $files);
}

# What the packets of a directory hold: their file names as given in %known, else "new", with the senders.
sub held {
    my ($s, $dir) = @_;
    return {map { my $p = unpack_pkt($s->slurp("$dir/$_")); $_ => $p ? join(' ', map { $_->{from} } @{$p->{msgs}}) : 'none' } $s->files($dir)};
}

{    # A pass without a change: every file is as it was, to the inode; names decide what is a packet, and the order.
    my %files = (
        'ABCDEF01.PKT' => pack_pkt({password => "SECRET\0x"}, seen('a1', attr => 0x101), seen('a2', cost => 7)),
        '00000001.pkt' => pack_pkt({from => '2:999/1.5'}, seen('b1', date => 'Thu  2 May 24 08:00')),
        map({ $_ => pack_pkt({}, seen('no')) } '1234567.pkt', '12345678.pk1', '123456789.pkt', '1234567g.pkt'),
    );
    my $s = pkts(\%files);
    mkdir $s->path('IN/0000000d.pkt');
    POSIX::mkfifo($s->path('IN/0000000f.pkt'), 0600) or die;
    my $inode = (stat $s->path('IN/ABCDEF01.PKT'))[1];
    my $r = $s->run(script => q{ Scan('IN'); while (ReadMsg()) { out((GetHdr())[0, 5, 6], GetRouting()) } });
    $r->ended_well;
    is_deeply([map { [@$_[0, 1]] } @{$r->said}], [['b1', '02 May 24  08:00:00'], map { [$_, '01 May 24  08:00:00'] } qw(a1 a2)], 'messages in the order of the names');
    like($r->said->[1][2], qr/^PRIVATE LOCAL|^LOCAL PRIVATE/, 'attributes');
    is($r->said->[0][3], '2:999/100', 'routed to the packet\'s destination');
    is($s->slurp("IN/$_"), $files{$_}, "$_ is unchanged") for sort keys %files;
    is((stat $s->path('IN/ABCDEF01.PKT'))[1], $inode, 'nothing was written');
}

{    # Killed, changed, dropped and kept messages; leaving in the middle.
    my $p = sub { pack_pkt({password => 'OLDPASS'}, map { seen($_) } @_) };
    my $s = pkts({'00000001.pkt' => $p->(qw(a b c d)), '00000002.pkt' => $p->(qw(e f)), '00000003.pkt' => $p->(qw(g h i))}, words => 'PW');
    my $r = $s->run(script => q{ Scan('IN'); while (ReadMsg()) {
        my $who = (GetHdr())[0];
        Kill() if $who =~ /[bef]/;
        SetAttribute('@ AUDIT') if $who eq 'c';
        if ($who eq 'd') { SetAttribute('@ AUDIT'); SetAttribute('@ !Changed') }
        if ($who eq 'g') { RouteTo('2:999/7'); last }
    } });
    $r->ended_well;
    my $held = held($s, 'IN');
    my @new = grep { !/^0000000\d/ } sort keys %$held;
    is_deeply([@$held{'00000001.pkt', '00000003.pkt'}, exists $held->{'00000002.pkt'}], ['a d', 'h i', ''], 'kept, dropped and unread messages stay; an empty packet goes');
    my ($same, $other) = sort { $b->{msgs}[0]{from} cmp $a->{msgs}[0]{from} } map { unpack_pkt($s->slurp("IN/$_")) } @new;
    ($same, $other) = ($other, $same) if $same->{msgs}[0]{from} ne 'c';
    is_deeply([@$same{qw(password from to year prodData)}, $same->{msgs}[0]{attr}], ['OLDPASS', '2:999/1', '2:999/100', 2024, 0x01020304, 0x4000], 'a changed message leaves for a packet with the header of its own');
    is_deeply([@$other{qw(password to destZone qDestZone)}, $other->{msgs}[0]{from}], ['EIGHTLNG', '2:999/7', 2, 2, 'g'], 'one that goes elsewhere never takes the old password along');
    is($other->{end} . $same->{end}, "\0\0\0\0", 'both end as packets do');
    my $old = unpack_pkt($s->slurp('IN/00000001.pkt'));
    is_deeply([@$old{qw(password prodCodeLo end)}, $old->{msgs}[1]{raw}], ['OLDPASS', 0xFE, "\0\0", pack_packed(%{seen('d')})], 'the rewritten packet has its header and its messages');
}

{    # Damaged packets.
    my $good = pack_pkt({}, seen('one'), seen('two'));
    my %bad = (
        'no bytes' => '', '57 bytes' => substr($good, 0, 57), 'a header alone' => substr(pack_pkt({}), 0, 58), 'an empty packet' => pack_pkt({}),
        'short data' => pack_pkt({}, {from => 'x', to => '', subject => ''}), 'another type' => pack_pkt({type => 3}, seen('x'), seen('y')),
        'no end' => substr($good, 0, -2), 'cut in a text' => substr($good, 0, -30),
        'a message of type 3' => pack_pkt({}, seen('one'), {%{seen('y')}, type => 3}), 'a tail of zeros' => pack_pkt({}, seen('one')) . "\0" x 7,
        'a long name' => pack_pkt({}, seen('n' x 36), seen('y')), 'text without NUL' => substr($good, 0, -4) . "\0\0\0",
        'a cut header of a message' => pack_pkt({}, seen('one'), "\x02\0" . 'x' x 20 . "\0"),
    );
    my @names = sort keys %bad;
    my %files = map { sprintf('000000%02x.pkt', $_) => $bad{$names[$_]} } 0 .. $#names;
    my $s = pkts({%files, '00000000.bad' => 'taken', 'ffffffff.pkt' => $good});
    my $r = $s->run(script => q{ Scan('IN'); while (ReadMsg()) { out((GetHdr())[0]) } });
    $r->ended_well('damaged packets end no scan');
    is_deeply([map { $_->[0] } @{$r->said}[-2, -1]], ['one', 'two'], 'the packet behind them is read');
    my %now = map { $s->slurp("IN/$_") => $_ } $s->files('IN');
    for my $i (0 .. $#names) {
        my $name = $now{$bad{$names[$i]}} // 'nowhere';
        like($name, $names[$i] eq 'text without NUL' ? qr/pkt$/ : $i ? qr/^@{[sprintf '000000%02x.bad', $i]}$/ : qr/^[0-9a-f]{8}\.bad$/, "$names[$i]: set aside whole, as $name");
    }
    is($s->slurp('IN/00000000.bad'), 'taken', 'an older bad file stays');
}

{    # Every length of a packet: no crash, and what can't be read stays whole.
    my $good = pack_pkt({}, seen('one'), seen('two'), seen('tre'));
    my %files = map { sprintf('%08x.pkt', $_) => substr($good, 0, $_) } 0 .. length $good;
    my $s = pkts(\%files);
    my $r = $s->run(script => q{ Scan('IN'); my $n; $n++ while ReadMsg(); out($n) });
    $r->ended_well;
    my @lost = grep { my $n = $_ =~ s/pkt$/bad/r; ($s->slurp("IN/$_") // $s->slurp("IN/$n") // '') ne $files{$_} } keys %files;
    is_deeply(\@lost, [], 'not a byte of any is lost');
}

{    # A thousand empty messages, one of 60 MB, kept and killed in turn.
    my $line = 'x' x 99 . "\r";
    my $s = pkts({'00000001.pkt' => pack_pkt({}, map { {text => $OURS} } 1 .. 1000), '00000002.pkt' => pack_pkt({}, seen('a'), seen('big', text => ($line x 629_146) . $OURS), seen('b'))});
    my $r = $s->run(timeout => 120, script => q{ Scan('IN'); my $n; while (ReadMsg()) { Kill() if $n++ % 2 } out($n); open my $f, '<', '/proc/self/status'; out(grep { /VmHWM/ } <$f>) });
    $r->ended_well('1,000 empty messages and 60 MB');
    is($r->said->[0][0], 1003, 'all of them are read');
    is_deeply(held($s, 'IN'), {'00000001.pkt' => join(' ', ('Some Sender') x 500), '00000002.pkt' => 'a b'}, 'every second one is gone');
}

{    # Mail that arrives: headers, the size limit, names of attached files, a header of the script's own.
    my $blocks = $CONFIG . block("PKTLENGTH", "CUT", "1000 2:*/*.*") . block("SYSTEM", "PT", "2:999/100.3 testnet 2");
    my $s = pkts({}, blocks => $blocks, words => 'CUT PT');
    my $r = $s->run(script => q{
        @main::hdr = ('2:5/6.7', '2:5/8', '03 Jan 01  04:05:06', 'longpassword', '1', 'ab', 'zz', '2', 'deadbeef');
        out(CreateMail('TO', '@2:999/1 Sysop', '-s @C:\\DIR\\A.ZIP', '-a @FILE', '-l @hello')) for 1 .. 2;
        out(CreateMail('IN', '@2:999/7 Sysop', '-l @' . 'x' x 350)) for 1 .. 3;
        out(CreateMail('TO', '@2:999/1', '-p hdr.'), CreateMail('TO', '@2:999/1.9', '-p @nosuch.'));
    });
    $r->ended_well;
    my @said = map { @$_ } @{$r->said};
    is($said[0], $said[1], 'two messages to one system share a packet') or diag(explain($r->log));
    my ($p, $pt, $own, $plain) = map { unpack_pkt($s->slurp($_)) } @said[0, 2, 5, 6];
    is_deeply([@$p{qw(from to password type capWord cwCopy prodCodeLo revMajor revMinor baud)}, map { $_->{subject} } @{$p->{msgs}}],
        ['2:999/100', '2:999/1', 'SECRET', 2, 1, 0x100, 0x41, 1, 2, 0, 'A.ZIP', 'A.ZIP'], 'header of a new packet');
    is_deeply([@$pt{qw(from origNet auxNet to password)}], ['2:999/100.3', 0xFFFF, 999, '2:999/7', ''], 'a packet from a point');
    is(scalar(grep { $_ eq $said[2] } @said[2 .. 4]), 1, 'cut by size: a message that doesn\'t fit begins a new packet');
    is_deeply([@$own{qw(from to password year month day hour prodCodeHi prodCodeLo revMinor revMajor prodData capWord)}],
        ['2:5/6.7', '2:5/8', 'longpass', 2001, 0, 3, 4, 1, 0xAB, 0, 2, 0xDEADBEEF, 1], 'a header of the script\'s own');
    is_deeply([@$plain{qw(to destPoint)}], ['2:999/1.9', 9], 'an array that isn\'t there changes nothing');
    is_deeply([map { (stat $s->path($_))[2] & 07777 } @said[0, 2]], [0600, 0600], 'mode of new packets');
}

{    # File boxes: their directories are found, and made.
    for (['b-box', 'fido.net.2.999.1.0.Hold', 'testnet.2.999.7.0.Hold'], ['t-box', '2.999.1.0.H', '2.999.7.0.H']) {
        my ($kind, $there, $made) = @$_;
        my $s = pkts({}, blocks => $CONFIG . block("SYSTEM", "OWN", "2:999/100 testnet 2"), words => "OWN $kind");
        $s->area("IN/$there", {'00000001.pkt' => pack_pkt({}, seen('boxed'))})->area('IN/other', {'00000001.pkt' => pack_pkt({}, seen('no'))});
        $s->spew('IN/00000002.pkt', pack_pkt({}, seen('no')));
        my $r = $s->run(script => q{ Scan('IN'); while (ReadMsg()) { out((GetHdr())[0]); Kill() } CreateMail('IN', '@2:999/7 Sysop'); Scan('IN'); ReadMsg(); SetAttribute('@ HOLD'); SetFlavor('HOLD'); RouteTo('2:999/7') });
        $r->ended_well("$kind");
        is_deeply($r->said, [['boxed']], "$kind: packets of its boxes are read");
        is(scalar(my @f = $s->files("IN/$made")), 1, "$kind: held mail has its box") or diag(join ' ', $s->files('IN'));
    }
}

{    # Whole packets.
    my $p = sub { pack_pkt({}, map { seen($_) } @_) };
    my %files = ('00000001.pkt' => $p->(qw(a b c)), '00000002.pkt' => $p->(qw(d e f)), '00000003.pkt' => $p->(qw(g h)), '00000004.pkt' => $p->(qw(i j k)));
    my $s = pkts(\%files);
    my $r = $s->run(script => q{
        Scan('IN'); out(GetPktHdr());
        out(ReadPkt(), (GetPktHdr())[0 .. 8]); ReadMsg(); Kill(); ReadMsg(); out(CopyPkt(' to '), CopyPkt('NETMAIL'), (GetHdr())[0]);
        out(ReadPkt()); ReadMsg(); ReadMsg(); out(MovePkt('TO'), KillPkt());
        out(ReadPkt()); SetPktHdr(['2:5/6.7', '2:5/8', '03 Jan 01  04:05:06', 'pw', '1', 'ab', '3', '2', 'ff']); ReadMsg(); out((GetPktHdr())[0, 1, 3]);
        out(ReadPkt()); ReadMsg(); ReadMsg(); out(KillPkt(), ReadPkt(), ReadMsg());
    });
    $r->ended_well;
    my ($none, $first, @rest) = @{$r->said};
    is_deeply($none, [undef], 'no header ahead of the first packet');
    is_deeply($first, [1, '2:999/1', '2:999/100', '02 May 24  10:20:30', '1', 'fe', '6', '7', '1020304', $s->path('IN/00000001.pkt')], 'GetPktHdr, the name too') or diag(explain($first));
    is_deeply(\@rest, [[1, 0, 'b'], [1], [1, 0], [1], ['2:5/6.7', '2:5/8', '1'], [1], [1, 0, 0]], 'results') or diag(explain(\@rest));
    is_deeply(held($s, 'IN'), {'00000001.pkt' => 'b c', '00000003.pkt' => 'g h', '00000004.pkt' => 'i j'}, 'what stays: KillPkt drops the rest, MovePkt all');
    is_deeply([sort values %{held($s, 'TO')}], ['b c', 'd e f'], 'copies are whole');
    $r = $s->run(script => q{ Scan('IN'); ReadMsg(); utime 1, 1, (GetPktHdr())[8]; out(MovePkt('TO')) });
    is_deeply([$r->said, scalar(keys %{held($s, 'TO')}), held($s, 'IN')->{'00000001.pkt'}], [[[0]], 2, 'b c'], 'a packet that can not be taken away is not moved');
    my $set = unpack_pkt($s->slurp('IN/00000003.pkt'));
    is_deeply([@$set{qw(from to password prodData qDestZone auxNet)}], ['2:5/6.7', '2:5/8', 'pw', 0xFF, 2, 5], 'a header set ahead of the first message is written');
}

{    # Others at work: a packet that grows while it is scanned, a rewriting that fails, a death in between.
    my $p = pack_pkt({}, seen('a'), seen('b'));
    my $s = pkts({'00000001.pkt' => $p});
    my $grown = pack_pkt({}, seen('a'), seen('b'), seen('c'));
    my $r = $s->run(script => qq{ Scan('IN'); ReadMsg(); Kill(); open my \$f, '>:raw', 'IN/00000001.pkt'; print \$f pack('H*', '} . unpack('H*', $grown) . q{'); close $f; ReadMsg() });
    $r->ended_well;
    is($s->slurp('IN/00000001.pkt'), $grown, 'what another program wrote isn\'t overwritten');
    $s->spew('IN/00000001.pkt', $p);
    $r = $s->run(script => q{ Scan('IN'); ReadMsg(); Kill(); mkdir 'IN/00000001.pkt.#'; ReadMsg() });
    is($s->slurp('IN/00000001.pkt'), $p, 'a packet that can\'t be rewritten stays as it was');
    $r->log_like(qr/^update_pkt: error writing pkt/);
    $r = $s->run(script => q{ Scan('IN'); ReadMsg(); Kill(); ReadMsg(); kill 'KILL', $$ }, killed => 1);
    is($s->slurp('IN/00000001.pkt'), $p, 'a killed program leaves the old packet');
}

{    # Echomail: the sender is whom the Origin names; a message on its way keeps the packet's net and node.
    my $s = pkts({'00000001.pkt' => pack_pkt({}, {from => 'E', text => "AREA:TEST\rHi\r--- x\r * Origin: y (Net 2:5020/7.8)\rSEEN-BY: 1/2\r"})}, words => 'echomail');
    my $r = $s->run(script => q{ Scan('IN'); ReadMsg(); out((GetHdr())[1]); Move('TO', '-s @%PKTFROM% %pktto%') });
    $r->ended_well;
    my ($new) = map { unpack_pkt($s->slurp("TO/$_")) } $s->files('TO');
    is_deeply([$r->said->[0][0], @{$new->{msgs}[0]}{qw(orig subject)}, $new->{to}, [$s->files('IN')]], ['2:5020/7.8', '999/1', '2:999/1 2:999/100', '2:999/100', []], 'an echomail moves on');
}
done_testing;
