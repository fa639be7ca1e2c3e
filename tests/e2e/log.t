# The log: its place, header and footer, levels and patterns.

use strict;
use warnings;
use Quelmo::Test;

{    # The shape of a log, to the byte.
    my $s = scenario(config => "DEBUG 0\n", script => 'Log(0, "line"); Log("", "no level"); Log("0x5", "%s %d %%\n"); Log(-1, "a\n\n"); Log(1, "hidden")');
    $s->run;
    my $time = qr/\d\d:\d\d:\d\d  /;
    my $path = $s->path('route.pl');
    like($s->slurp('quelmo.log'), qr/\A--------  [A-Z][a-z]{2} \d\d [A-Z][a-z]{2} \d\d, quelmo 1\.02\/w32 19-01-01 \n${time}Executing script: \Q$path\E\n${time}line\n${time}no level\n${time}%s %d %%\n${time}a\n\n${time}Runtime: \d+ Seconds - Messages  Read : 0  Written : 0\n\n\z/, 'header, lines, footer');
    my $r = $s->run(script => 'Log(6, "six\n"); Log(5, "five")', argv => ['-d', '6', 'route']);
    $r->log_like(qr/^five$/);
    $r->log_like(qr/^six$/);
    like($r->err, qr/^${time}six\n/m, 'level 6 shows on stderr too');
    unlike($r->err, qr/five/, 'level 5 does not');
}

# Which lines are written: level, what LOGINCLUDE adds, what LOGEXCLUDE takes away whatever the level.
for my $case (
    ["DEBUG 1\n", [0, 1]], ["DEBUG 0\nLOGINCLUDE bc\n", [0, 'abc']], ["DEBUG 0\nLOGINCLUDE BC\n", [0]], ["DEBUG 0\nLOGINCLUDE 'a b'\n", [0, 'a b']],
    ["DEBUG 0\nLOGINCLUDE bc\nLOGEXCLUDE ab\n", [0]], ["DEBUG 1\nLOGEXCLUDE \"0\"\n", [1]], ["DEBUG 0\nUSEREGEXP YES\nLOGINCLUDE ^a.c\$\n", [0, 'abc']],
    ["DEBUG 0\nUSEREGEXP YES\nRXIGNORECASE ON\nLOGINCLUDE ^A.C\$\n", [0, 'abc']], ["DEBUG 0\nUSEREGEXP YES\nRXIGNORECASE ON\nLOGINCLUDE b\nLOGEXCLUDE ^A\n", [0, 'abc', 'a b']],
    ["DEBUG 0\nLOGINCLUDE a.c\nUSEREGEXP YES\nLOGINCLUDE a\\sb\n", [0, 'a b']],
) {
    my ($config, $lines) = @$case;
    my $s = scenario(config => $config, script => 'Log(0, "0"); Log(1, "1"); Log(5, "abc"); Log(5, "a b")');
    my $r = $s->run;
    is_deeply([grep { /^(?:[01]|a.*)$/ } @{$r->log}], $lines, "lines with $config") or diag($r->err);
}

{    # The line of a message as it stands in the log.
    my %o = (areas => {NETMAIL => [map { {from => $_, text => "Hi\r"} } qw(Bob Ann)]}, script => q{Scan('NETMAIL'); while (ReadMsg()) { SetFlavor('HOLD') }});
    for my $case (["LOGEXCLUDE Bob\n", 'Ann'], ["DEBUG 0\nLOGINCLUDE Bob\n", 'Bob']) {
        my ($config, $name) = @$case;
        my $r = scenario(%o, config => $config)->run;
        is_deeply([map { /^\d+ (\w+) .* -> / ? $1 : () } @{$r->log}], [$name], "a sender named by $config");
    }
}

{    # The place of the log. Nothing is lost if it can't be written; the log of -l gets its header at once.
    my $s = scenario(bare => 1, config => "LOGFILE logs\\Robot.log\n", script => 'Log(0, "x")');
    mkdir $s->path('logs');
    is($s->run->code, 0);
    like($s->slurp('logs/Robot.log'), qr/  x\n.*Runtime/s, 'behind the home directory');
    my $abs = "$s->{top}/abs.log";
    $s->spew('quelmo.cfg', "LOGFILE $abs\n");
    $s->run;
    like($s->slurp($abs), qr/  x\n.*Runtime/s, 'an absolute name');
    $s->spew('quelmo.cfg', "LOGFILE nosuch/dir/x.log\n");
    is($s->run->code, 0, 'a log that cannot be written stops nothing');
    $s->spew('quelmo.cfg', '');
    $s->run(argv => ['-l', 'l.log', '-l', 'm.log', 'route']);
    my @headers = ($s->slurp('l.log') // '') =~ /^--------/mg;
    is_deeply([scalar @headers, -e $s->path('m.log') ? 1 : 0], [2, 0], 'the first -l counts');
    $s->spew('quelmo.cfg', "LOGFILE file.log\n");
    unlink $s->path('l.log');
    $s->run(argv => ['-l', 'l.log', 'route']);
    is_deeply([$s->slurp('l.log') =~ /\A(--------)[^\n]*\n\z/, $s->slurp('file.log') =~ /(Runtime)/], ['--------', 'Runtime'], 'LOGFILE overrules -l');
}

{    # The log's place is fixed: a script may go where it likes, and the log may be moved away between two lines.
    my $s = scenario(script => q{ Log(0, 'one'); chdir '/'; Log(0, 'two'); rename "$ENV{HOME}/quelmo.log", "$ENV{HOME}/old.log"; Log(0, 'three') });
    for my $home ($s->home, undef) {
        $s->run(env => {QUELMO => $home});
        like($s->slurp('old.log'), qr/one\n.*two\n\z/s, 'lines before');
        like($s->slurp('quelmo.log'), qr/\A.*three\n.*Runtime/s, 'lines behind');
    }
}

SKIP: {    # A log on a full disk is a fatal error, and the stop gets through without it.
    skip 'no /dev/full', 2 if !-e '/dev/full';
    my $s = scenario(config => "LOGFILE /dev/full\n", script => 'out(1)');
    my $r = $s->run;
    is_deeply([$r->code, $r->said, $r->err, -e $s->path('quelmo.bsy') ? 1 : 0], [1, [], "\afatal: can't write logfile\n", 0], 'a full disk');
    # It doesn't come between a copy and the removal of the original.
    $s = scenario(config => "LOGINCLUDE Moved\n", areas => {A => [{}], B => []}, script => q{Scan('A'); ReadMsg(); DefKeyWord('LOGFILE', '/dev/full'); Move('B'); out(1)});
    $r = $s->run;
    is_deeply([$r->code, $r->said, $r->err, map { scalar(() = $s->files($_)) } qw(A B)], [1, [], "\afatal: can't write logfile\n", 0, 1], 'a full disk in the middle of a Move');
}
done_testing;
