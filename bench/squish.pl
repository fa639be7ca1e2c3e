#!/usr/bin/perl
# squish.pl BUILD [COUNT...]: measures the program over Squish bases of COUNT messages of 2 KB (10000 and 100000 by
# default); see README.md. The bases lie in TMPDIR, else in BUILD, and are removed at the end.

use strict;
use warnings;
use File::Temp qw(tempdir);
use Time::HiRes qw(time);

my ($build, @counts) = @ARGV;
die "usage: squish.pl BUILD [COUNT...]\n" unless $build;
@counts = (10_000, 100_000) unless @counts;
my $home = tempdir('quelmo-bench-XXXXXX', DIR => $ENV{TMPDIR} // $build, CLEANUP => 1);
@ENV{qw(QUELMO TZ)} = ($home, 'UTC');

sub spew { my ($name, $bytes) = @_; open my $f, '>:raw', "$home/$name" or die "$name: $!\n"; print {$f} $bytes; close $f }

sub hash {
    my $h = 0;
    for (unpack 'C*', lc $_[0]) { $h = ($h * 16 + $_) & 0xFFFFFFFF; $h |= ($h & 0xF0000000) >> 24 }
    return $h & 0x7FFFFFFF;
}

# The same arguments always make the same bytes.
sub make_base {
    my ($name, $count) = @_;
    my $via = "\x01Via 2:999/100\@testnet \@20240501.101500.UTC quelmo 1.02/w32 19-01-01\r";
    my $line = 'a' x 71 . "\r";
    my $at = 256;
    my $last = 0;
    open my $sqd, '>:raw', "$home/$name.sqd" or die "$!\n";
    open my $sqi, '>:raw', "$home/$name.sqi" or die "$!\n";
    print $sqd "\0" x 256;
    for my $n (1 .. $count) {
        my $ctrl = sprintf "\x01INTL 2:999/100 2:5020/%d\x01MSGID: 2:5020/%d %08x\0", $n % 1000, $n % 1000, $n;
        my $text = $line x 25 . $via . "\0";
        my $to = 'Reader ' . $n % 700;
        my $body = pack('Va36a36a72v8VVvVa36Va20', 0x20001, "Sender $n", $to, "Message $n", 2, 5020, $n % 1000, 0, 2, 999, 100, 0,
            0x51E058A1, 0x51E058A1, 0, 0, '', $n, '01 May 24  10:15:00') . $ctrl . $text;
        my $length = length $body;
        my $next = $n < $count ? $at + 28 + $length : 0;
        print $sqd pack('V6vv', 0xAFAE4453, $next, $last, $length, $length, length $ctrl, 0, 0), $body;
        print $sqi pack('V3', $at, $n, hash($to));
        ($last, $at) = ($at, $at + 28 + $length);
    }
    seek $sqd, 0, 0;
    print $sqd pack 'vvV5a80V6vva124', 256, 0, $count, $count, 0, 0, $count + 1, '', $count ? 256 : 0, $last, 0, 0, $at, 0, 0, 28, '';
}

sub seconds { my ($run) = @_; my $start = time; $run->(); return time - $start }
sub plain { my ($name) = @_; return seconds(sub { system('cat', "$home/$name.sqd", "$home/$name.sqi", '/dev/null') == 0 or die }) }
sub program {
    my ($script) = @_;
    spew('bench.pl', "sub bench { $script\n open my \$f, '<', '/proc/self/status'; print STDOUT grep /VmHWM/, <\$f>; }\n1;\n");
    my $out;
    my $took = seconds(sub { $out = qx($build/quelmo bench) });
    die "the run failed\n" if $?;
    return ($took, $out =~ /VmHWM:\s*(\d+)/);
}
sub best { my ($rounds, $measure) = @_; my @all = sort { $a->[0] <=> $b->[0] } map { [$measure->()] } 1 .. $rounds; return @{$all[0]} }

my $PASS = q{Scan('SQ'); while (ReadMsg()) { $hits++ if Select('NAMES') }};
my $KILL = q{Scan('SQ'); while (ReadMsg()) { Kill() if ++$n % 10 == 0 }};
my $config = "MAINADDRESS 2:999/100\@testnet\nCHAT OFF\nDATA NAME NAMES\nAreaFix\nSysop\n#END#\n" . join '', map { "SQUISHAREA $_ $_\n" } qw(SQ FROM OUT);
open my $stdout, '>&', \*STDOUT;
open STDOUT, '>', '/dev/null' or die;

sub report { printf {$stdout} @_; $stdout->flush }

chdir $home;
spew('quelmo.cfg', $config);
my $start = (best(5, sub { make_base($_, 0) for qw(SQ FROM OUT); program($PASS) }))[0];
report("start of the program: %.1f ms, not in the times below\n", 1000 * $start);
for my $count (@counts) {
    make_base('SQ', $count);
    my ($cat) = best(5, sub { plain('SQ') });
    my ($pass, $peak) = best(5, sub { program($PASS) });
    $pass -= $start;
    report("pass  %7d: %.3f s, %.2f us each, peak %d kB | cat %.3f s | mark %.3f s\n", $count, $pass, 1e6 * $pass / $count, $peak, $cat,
        3 * $cat + 1e-6 * $count);
    make_base('FROM', 10_000);
    my $scan = (program($PASS =~ s/SQ/FROM/r))[0];
    for my $into (0, $count) {
        make_base('OUT', $into);
        my $add = (program(q{Scan('FROM'); while (ReadMsg()) { CopyArea('OUT') }}))[0] - $scan;
        report("add     10000 to %7d: %.1f us each\n", $into, 1e6 * $add / 10_000);
        unlink map { "$home/OUT.$_" } 'sqd', 'sqi';
        make_base('OUT', 0);
    }
    my $kill = (program($KILL))[0] - $start;
    report("kill  %7d: %.3f s | two passes %.3f s\n", $count / 10, $kill, 2 * $pass);
    my ($copy) = best(3, sub { seconds(sub { system("cat SQ.sqd > copy; cat SQ.sqi > copy.i; sync copy copy.i; rm copy copy.i") }) });
    my ($pack) = best(3, sub { seconds(sub { system("$build/bench/bench_squish_pack", "$home/SQ") == 0 or die }) });
    report("pack  %7d: %.3f s | flushed copy %.3f s, ratio %.2f\n", $count, $pack, $copy, $pack / $copy);
}
