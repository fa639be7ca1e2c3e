# A mailer's outbound as an area: what is found in which layout, busy flags, lists of attached files, and what is left.

use strict;
use warnings;
use Quelmo::Pkt;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
my $SHOW = q{ Scan('OUT'); while (ReadMsg()) { my @h = GetHdr(); out(@h[0, 4, 6], GetRouting(), (GetTo())[0]); } };

sub seen { return {from => $_[0], text => "Text of $_[0]\r$OURS", @_[1 .. $#_]} }
sub pkt { my ($to, @names) = @_; return pack_pkt({from => '2:999/100', to => $to}, map { seen($_) } @names) }

# A scenario with an outbound: files by their paths, words of the area.
sub outbound {
    my ($words, %files) = @_;
    my $s = scenario(config => "DATA SYSTEM SYS\n2:999/100 fido.net 1 2 3\n#END#\nBINKAREA OUT OUT SYS $words\n", areas => {NETMAIL => []});
    $s->area('OUT', {});
    for my $name (sort keys %files) {
        File::Path::make_path($s->path($name =~ s{/[^/]+\z}{}r));
        $s->spew($name, $files{$name});
    }
    return $s;
}

sub names { return [map { $_->[0] =~ /^quelmo/ ? $_->[1] : $_->[0] } @{$_[0]->said}] }

{    # What is found, in which order, in each layout; a pass without a change leaves every byte, and no flag.
    my $p = sub { pkt('2:999/1', @_) };
    my %cases = (
        '' => [[qw(a b L1 point LP)], 'OUT/03e70001.out' => $p->('a'), 'OUT/03e70002.HUT' => $p->('b'), 'OUT/03e70002.flo' => "L1\r\n", 'OUT/03e70001.pnt/00000007.cut' => $p->('point'),
            'OUT/03e70001.pnt/00000007.hlo' => 'LP', 'OUT/03e70003.clo' => '', 'OUT/3e70001.out' => $p->('no'), 'OUT/03e7000g.out' => $p->('no'), 'OUT/abc.1234.out' => $p->('no'),
            'OUT/03e70001.req' => 'no', 'OUT/03e70001.xut' => $p->('no'), 'OUT/03e70001.pnt/00010000.out' => $p->('no'), 'OUT.001/00010001.out' => $p->('no')],
        'NoMainZone' => [[qw(z1 main)], 'OUT/03e70001.out' => $p->('no'), 'OUT.002/03e70001.out' => $p->('main'), 'OUT.001/00010001.out' => $p->('z1'), 'OUT.XY/00010001.out' => $p->('no'), 'OUT.qlm/00010001.out' => $p->('no')],
        'MultiDomain' => [[qw(main z3 dot)], 'OUT/Fido.Net/03e70001.out' => $p->('main'), 'OUT/fido.net.003/00010001.out' => $p->('z3'), 'OUT/testnet.002/00010001.out' => $p->('dot'), 'OUT/other/03e70001.out' => $p->('no'), 'OUT/03e70001.out' => $p->('no')],
        'MultiDomain NoMainZone' => [[qw(main)], 'OUT/fido.net.002/03e70001.out' => $p->('main'), 'OUT/fido.net/03e70001.out' => $p->('no')],
        'Amiga4D' => [[qw(a strange L)], 'OUT/2.999.1.0.out' => $p->('a'), 'OUT/abc.out' => $p->('strange'), 'OUT/2.999.1.7.hlo' => "L\n"],
        'BrakeOutbound' => [[qw(a L)], 'OUT/fido.net.2.999.1.0.Hold.Mail' => $p->('a'), 'OUT/fido.net.2.999.1.7.Crash.List' => "L\n", 'OUT/2.999.1.0.out' => $p->('no')],
    );
    for my $words (sort keys %cases) {
        my ($expected, %files) = @{$cases{$words}};
        my $s = outbound($words, %files);
        my $r = $s->run(script => $SHOW);
        $r->ended_well("layout '$words'");
        is_deeply(names($r), $expected, "'$words': what is found") or diag(explain($s->run(argv => ['-d', '5', 'route'])->log));
        is_deeply([grep { $s->slurp($_) ne $files{$_} } sort keys %files], [], "'$words': not a byte changed");
        is(`find '@{[$s->home]}' -iname '*bsy' -o -name '*.#'`, '', "'$words': no flag is left");
    }
}

{    # Addresses and flavours; flags while a file is in work.
    my %flags = ('' => ['OUT/03e70001.hut', '03e70001.bsy', 'OUT/03e70001.pnt/00000007.clo', '03e70001.pnt/00000007.bsy'],
        'BrakeOutbound' => ['OUT/fido.net.2.999.1.0.Hold.Mail', 'fido.net.2.999.1.0.Busy', 'OUT/fido.net.2.999.1.7.Crash.List', 'fido.net.2.999.1.7.Busy'],
        'Amiga4D' => ['OUT/2.999.1.0.hut', '2.999.1.0.bsy', 'OUT/2.999.1.7.clo', '2.999.1.7.bsy']);
    for my $words (sort keys %flags) {
        my ($packet, $pflag, $list, $lflag) = @{$flags{$words}};
        my $s = outbound($words, $packet => pkt('2:999/1', 'a', 'b'), $list => "^/f/a.zip\r\n#/f/b\n/f/c");
        my $script = q{ my $busy = sub { join ' ', map { s{.*/OUT/}{}r } sort glob("OUT/*.[bB]*sy OUT/*.pnt/*.bsy") };
            Scan('OUT'); while (ReadMsg()) { my @h = GetHdr(); out($h[0] =~ /quelmo/ ? $h[4] : $h[0], $busy->(), $h[6]); CopyArea('NETMAIL', '-s @%ROUTETO% %PKTTO% %PKTFROM%') } out($busy->()); };
        my $r = $s->run(script => $script);
        $r->ended_well;
        my @said = @{$r->said};
        is_deeply([map { [@$_[0, 1]] } @said], [(map { [$_, "OUT/$pflag"] } 'a', 'b'), (map { [$_, "OUT/$lflag"] } '/f/a.zip', '/f/b', '/f/c'), ['', undef]], "'$words': the flag of each file") or diag(explain(\@said));
        is_deeply([map { $s->msg('NETMAIL', $_)->{subject} } 1, 3], ['2:999/1 2:999/1 2:999/100', '2:999/1.7 2:999/1.7 2:999/100'], "'$words': routes and macros");
        my @flags = map { join ' ', grep { /^(?:DUMMY|FILE|KFS|TFS|HOLD)/ } split ' ', $said[$_][2] } 2 .. 4;
        is_deeply(\@flags, ['FILE KFS DUMMYATTACH', 'FILE TFS DUMMYATTACH', 'FILE DUMMYATTACH'], "'$words': prefixes of lines") or diag(explain(\@said));
        # A busy system is passed over, unless flags are ignored; whose flag it is, his it stays.
        $s->spew("OUT/$pflag", '');
        $r = $s->run(script => $SHOW);
        is_deeply(names($r), ['/f/a.zip', '/f/b', '/f/c'], "'$words': a busy system is skipped");
        $r->log_like(qr{^Skipping busy \?ut/\?lo: `.*\Q@{[$packet =~ s{.*/}{}r]}\E'});
        $r = $s->run(argv => ['-b', 'route']);
        is_deeply(names($r), ['a', 'b', '/f/a.zip', '/f/b', '/f/c'], "'$words': -b lets it through");
        ok(-e $s->path("OUT/$pflag"), "'$words': a flag of another's stays");
    }
}

{    # Killed and kept; a list keeps its identity and stays when it is empty; leaving in the middle; a stop.
    my $s = outbound('', 'OUT/03e70001.out' => pkt('2:999/1', 'a', 'b', 'c'), 'OUT/03e70002.out' => pkt('2:999/2', 'd'), 'OUT/03e70001.flo' => "^one\r\ntwo\nthree", 'OUT/03e70002.flo' => "all\r\ngone\r\n", 'OUT/03e70003.flo' => "x\r\ny\r\n",
        'OUT/03e70003.dlo' => 'L' x 71 . "rest\r\nnext\r\n");
    my $inode = (stat $s->path('OUT/03e70001.flo'))[1];
    my $r = $s->run(script => q{ Scan('OUT'); while (ReadMsg()) { my ($n, $f) = (GetHdr())[0, 4]; Kill() if $n =~ /[bd]/ || $f =~ /two|all|gone|rest/; if ($f eq 'x') { Kill(); last } } });
    $r->ended_well;
    is(join(' ', map { $_->{from} } @{unpack_pkt($s->slurp('OUT/03e70001.out'))->{msgs}}), 'a c', 'what was kept of a packet');
    ok(!-e $s->path('OUT/03e70002.out'), 'a packet without mail is gone');
    is_deeply([map { $s->slurp("OUT/0$_.flo") } '3e70001', '3e70002', '3e70003'], ["^one\r\nthree", '', "y\r\n"], 'lines go with their ends');
    is($s->slurp('OUT/03e70003.dlo'), 'L' x 71 . "\r\nnext\r\n", 'half a line that is left never takes in the next one');
    is((stat $s->path('OUT/03e70001.flo'))[1], $inode, 'a list stays the file that it was');
    $r = $s->run(script => q{ Scan('OUT'); ReadMsg(); Kill(); ReadMsg(); Nonsense() });
    ok(!-e $s->path('OUT/03e70001.bsy'), 'no flag is left behind a stop');
    is(join(' ', map { $_->{from} } @{unpack_pkt($s->slurp('OUT/03e70001.out'))->{msgs}}), 'c', 'nor is anything lost');
}

{    # What changes leaves its file and arrives elsewhere with the next building, under the changed address.
    my $s = outbound('', 'OUT/03e70001.out' => pkt('2:999/1', 'a', 'b'), 'OUT/03e70001.flo' => "^/f/one more\r\n/f/two\r\n");
    my $r = $s->run(script => q{ Scan('OUT'); while (ReadMsg()) { my ($n, $f) = (GetHdr())[0, 4]; if ($n eq 'b' || $f eq '/f/one more') { RouteTo('2:999/7'); SetFlavor('CRASH') } } Scan('NETMAIL'); DoBinkOutbound('OUT') });
    $r->ended_well;
    is_deeply([map { my $p = unpack_pkt($s->slurp($_)); $p ? "$p->{to} " . join ' ', map { $_->{from} } @{$p->{msgs}} : '' } 'OUT/03e70001.out', 'OUT/03e70007.cut'], ['2:999/1 a', '2:999/7 b'], 'a changed message');
    is_deeply([map { $s->slurp($_) } 'OUT/03e70001.flo', 'OUT/03e70007.clo'], ["/f/two\r\n", "^/f/one more\r\n"], 'a changed line') or diag(join "\n", @{$r->log}, $s->files('OUT'), $s->files('OUT.qlm'));
    is(scalar(grep { /03e70007/ } $s->files('OUT')), 2, 'the line has no packet');
}

{    # A list that can't be written whole stays as it was.
    my $list = join '', map { "/f/$_\r\n" } 1 .. 900;
    my $s = outbound('', 'OUT/03e70001.flo' => $list);
    my $r = $s->run(script => q{ Scan('OUT'); ReadMsg(); Kill() }, wrap => ['prlimit', '--fsize=4096', '--']);
    $r->log_like(qr/^update_pkt: error writing/);
    is($s->slurp('OUT/03e70001.flo'), $list, 'to the byte');
}

{    # A disk that is full for the log too: wherever that stops the run, files are whole, no mail is lost and no flag is left.
    my ($big, @wrong) = ('y' x 2400 . "\r$OURS");
    for my $left (map { 25 * $_ } 6 .. 56) {
        my $s = outbound('', 'OUT/03e70001.out' => pkt('2:999/1', 'a', 'b'), 'OUT/03e70002.out' => pack_pkt({to => '2:999/2'}, map { {%{seen($_)}, text => $big} } 'c', 'd', 'e'), 'OUT/03e70003.flo' => "/f/1\r\n/f/2\r\n");
        $s->area('PKT', {})->spew('big.log', 'z' x (4000 - $left));
        $s->spew('quelmo.cfg', "LOGFILE big.log\n" . $s->slurp('quelmo.cfg') =~ s/DEBUG 1\n/$left % 50 ? "DEBUG 1\n" : "DEBUG 4\n"/er . "PKTAREA PKT PKT\n");
        $s->run(script => q{ Scan('OUT'); while (ReadMsg()) { (GetHdr())[0] =~ /[ac]/ ? RouteTo('2:999/2') : Move('PKT') } Scan('NETMAIL'); DoBinkOutbound('OUT') }, wrap => ['prlimit', '--fsize=4000', '--']);
        my ($all, @mail) = ('');
        for my $file (sort map { my $dir = $_; map { "$dir/$_" } $s->files($dir) } qw(OUT OUT.qlm PKT)) {
            my $bytes = $s->slurp($file);
            push @wrong, "$left: $file" if $file =~ /bsy|#|bad/;
            $all .= $bytes;
            next if $file !~ /(pkt|ut|ip)$/;
            my $p = unpack_pkt($file =~ /ip$/ ? "$bytes\0\0" : $bytes);
            push @wrong, "$left: $file is damaged" if !$p || $p->{end} ne "\0\0";
            push @mail, map { $_->{from} } @{$p->{msgs}} if $p;
        }
        for my $name ('a' .. 'e') { push @wrong, "$left: $name is lost" if !grep { $_ eq $name } @mail }
        push @wrong, "$left: a line is lost" if $all !~ m{(/f/|\0)1\b} || $all !~ m{(/f/|\0)2\b};
    }
    is_deeply(\@wrong, [], 'a full disk');
}

{    # Lists that nobody should have written, and a damaged packet.
    my $many = join '', map { "/files/$_\n" } 1 .. 10_000;
    my %files = ('OUT/03e70001.flo' => "a\0b\0\0\r\n\n^\n#\r~sent\r\n" . 'L' x 5000 . "\r\n\r\nend", 'OUT/03e70002.flo' => $many, 'OUT/03e70003.flo' => "\0", 'OUT/03e70004.hut' => substr(pkt('2:999/1', 'x', 'y'), 0, -9),
        'OUT/03e70005.out' => pack_pkt({}, seen('good'), {%{seen('y')}, type => 3}));
    my $s = outbound('', %files);
    my $r = $s->run(script => q{ Scan('OUT'); my ($n, %f); while (ReadMsg()) { my @h = GetHdr(); $f{$h[4]}++; $n++ } out($n, map { $f{$_} // 0 } 'a', 'b', '~sent', 'L' x 71, 'end', '/files/10000', '') });
    $r->ended_well;
    my ($n, @found) = @{$r->said->[0]};
    cmp_ok($n, '>', 10_000, 'all lines are shown');
    is_deeply(\@found, [1, 1, 1, 70, 1, 1, $found[-1]], 'and shown right') or diag(explain($r->said));
    is($s->slurp($_), $files{$_}, "$_: as it was") for grep { /flo/ } sort keys %files;
    is_deeply([map { $s->slurp($_) } 'OUT/03e70004.bad', 'OUT/03e70005.bad'], [@files{'OUT/03e70004.hut', 'OUT/03e70005.out'}], 'damaged packets are set aside whole');
}
done_testing;
