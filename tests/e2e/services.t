# Functions that stand by themselves: files, areas, expressions, macros, recoding, the configuration at run time.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');

{    # Files: named directly and by a block.
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r$OURS", from => 'Bob'}]}, config => "DATA FILES F\nnew.flg !no.flg\nold.flg\n#END#\n", script => q{
        our @lines = ('one', 'two %FROMNAME%'); Scan('NETMAIL'); ReadMsg();
        out(CreateFile('@files a.flg old2.flg'), CreateFile('F'), CreateFile('@f no/dir.flg'));
        out(KillFile('@F a.flg'), KillFile('@files a.flg'), -e 'no.flg' ? 1 : 0);
        WriteString('@files out.txt', ' "x %FROMNAME%" '); WriteString('@files out.txt', 'done\\\\'); WriteString('@files out.txt', '.'); WriteString('@files out.txt');
        WriteString('@files out.txt', 'lines.'); WriteString('F', 'f');
        out(KillFile('F'));
    });
    $s->spew($_, 'kept') for qw(old.flg old2.flg no.flg);
    my $r = $s->run;
    $r->ended_well;
    is_deeply($r->said, [[1, 1, 0], [1, 0, 1], [1]], 'CreateFile, KillFile');
    is_deeply([$s->files('.')], [sort qw(NETMAIL no.flg old2.flg out.txt quelmo.cfg quelmo.log route.pl)], 'what is left');
    is($s->slurp('old2.flg'), '', 'a file named directly is cut');
    is($s->slurp('out.txt'), "x Bob\r\ndone.\r\n\r\none\r\ntwo Bob\r\n", 'WriteString');
}
for my $script (q{CreateFile('@files')}, q{KillFile('NONE')}, q{CreateFile('NONE')}, q{WriteString('@f')}, q{WriteString('NONE', 'x')}, q{WriteString('@f no/dir')},
    q{rxSearch('a', '(')}, q{IgnoreBsy('maybe')}, q{Renumber('NONE')}, q{DefKeyWord('NONE', 1)}, q{DefKeyWord('DATA', 'x y')}, q{DefDataBlock('NONE', 'x', [])},
    q{DefDataBlock('NAME', 'x', 'y')}, q{ReReadConfig(1, 2)}) {
    scenario(script => $script)->run->stopped(qr/(perl_|such <Data)/, "$script stops the run");
}

{    # Areas, expressions, macros, checksums.
    my $s = scenario(
        areas => {NETMAIL => {'3.msg' => {text => "AREA: FOO \rHi\r$OURS"}, '7.msg' => {text => "Hi\r$OURS"}}, B => {'5.msg' => {text => 'x'}}}, config => "TEXTAREA t.txt T\n",
        script => q{
            out(GetAreaList()); out(rxSearch('Hello', '~^hel+o$'), rxSearch('Hello', 'hello'), rxSearch(' "a b" ', '"a b"'));
            Scan('NETMAIL'); ReadMsg(); out(GetEchoName(), GetCRC(), ExpandMacro('FROM'), ExpandMacro('%FROM%'), ExpandMacro('a %FROM%'));
            DefKeyWord('FIDOAREA', 'NETMAIL SAME'); Renumber('SAME'); Renumber('NETMAIL'); Renumber(); ReadMsg(); out(GetEchoName());
        },
    );
    my $crc = do { my $b = $s->slurp('NETMAIL/3.msg'); my $c = 0xffffffff; for (unpack 'C*', $b) { $c ^= $_; $c = $c & 1 ? ($c >> 1) ^ 0xedb88320 : $c >> 1 for 1 .. 8 } $c ^ 0xffffffff };
    my $r = $s->run;
    my $from = $r->said->[2][2];
    is_deeply($r->said, [['NETMAIL', 'B'], [1, 0, 1], ['FOO', unpack('l', pack 'L', $crc), $from, $from, "a $from"], [undef]], 'results');
    $r->log_like(qr/^perl_Renumber\(\) Can't pack open area `NETMAIL'/);
    $r->log_like(qr/^macro not yet implemented: `a 2:/);
    is_deeply([$s->files('NETMAIL'), $s->files('B')], ['3.msg', '7.msg', '1.msg'], 'only the other area is renumbered');
}

{    # Recoding: whole lines of text, no kludges; a table stops at its first wrong line.
    my $s = scenario(config => "INTAB in.map\n", areas => {NETMAIL => [{from => "B\x80b", text => "\x01K " . "\x80" x 300 . "\r\x80" . 'b' x 300 . "\x80\r$OURS"}]});
    $s->spew('in.map', "# comment\r\n0x80 65 # A\r\n0142\t0x43\r\n66 0x100\n65\n256 1\n98 98\n");
    $s->run(script => q{Scan('NETMAIL'); ReadMsg(); RecodeOut(); RecodeIn(); SetAttribute('@ Changed')})->ended_well;
    my $m = $s->msg('NETMAIL', 1);
    is_deeply([$m->{from}, $m->{body} =~ s/\x01Via.*//sr], ['BAC', "\x01K " . "\x80" x 300 . "\rA" . 'C' x 300 . "A\r"], 'RecodeIn');
}

{    # Keywords and blocks at run time; a reread forgets all, takes the lock and the log again.
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r$OURS", from => 'Bob'}]}, script => q{
        DefKeyWord(' debug ', ' 4 '); Log(4, 'seen');
        DefDataBlock('NAME', 'WHO', ['Ann', 'Bob']); Scan('NETMAIL'); ReadMsg(); out(SelectFrom('WHO'));
        DefDataBlock('SUBJECT', 'WHO', ['x']); out(Select('WHO'));
        ChangeMail('-s @new'); SetGlobalVar('v', 1);
        ReReadConfig('other.cfg'); out(GetGlobalVar('v'), -e 'quelmo.bsy' ? 1 : 0, GetAreaList());
        Log(0, 'after'); eval { Scan('NETMAIL') };
    });
    $s->spew('other.cfg', "MAINADDRESS 2:999/100\@testnet\nCHAT OFF\nLOGFILE other.log\nFIDOAREA NETMAIL OTHER\n");
    my $r = $s->run;
    is_deeply($r->said, [[1], [0], [undef, 1, 'OTHER']], 'results');
    $r->log_like(qr/^seen/);
    is($s->msg('NETMAIL', 1)->{subject}, 'new', 'the message in memory was saved');
    like($s->slurp('other.log'), qr/\A\n?-+  .*after.*Runtime/s, 'the new log has header and footer');
    is($r->code, 1, 'an area of the old configuration is unknown');
}

{    # Text areas.
    my $s = scenario(areas => {NETMAIL => [{text => "\x01MSGID: x\rHi\r" . 'a' x 300 . "\r--- t\rSEEN-BY: 1\r$OURS", orig => '100/1', dest => '100/200'}]},
        config => join('', map { "TEXTAREA $_->[1] $_->[0]\n" } ['NUM', '#.TXT'], ['TO', '>.LOG'], ['PLAIN', 'plain.txt'], ['DIR', 'NETMAIL']));
    $s->spew('7.txt', '');
    my $r = $s->run(script => q{Scan('NETMAIL'); ReadMsg(); out(CopyArea($_)) for qw(NUM NUM TO PLAIN PLAIN DIR); Scan('PLAIN'); out(ReadMsg())});
    my $body = "Hi\r\n" . 'a' x 300 . "\r\n--- t\r\n";
    is($s->slurp($_), $body, "text area: $_") for qw(8.TXT 9.TXT 100_200.0);
    is($s->slurp('plain.txt'), $body x 2, 'text area: a file that grows');
    $r->log_like(qr/error opening textarea file : `.*NETMAIL'/);
}
done_testing;
