# The life of scripts: interpreters one after the other, their ends, and what they do to the process.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');

# Scripts named a, b, c..., given as whole files; OUT stands for the helper that tells the test something.
sub scripts {
    my (%file) = @_;
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r$OURS"}]});
    $s->script('1', 'empty');
    my ($prelude) = $s->slurp('empty.pl') =~ /\A(.*?)sub empty/s;
    $s->spew("$_.pl", $prelude . $file{$_} . "\n1;\n") for keys %file;
    return $s;
}

{    # Good scripts: an interpreter each, quelmo_exit right behind each sub, global variables outlive them.
    my $s = scripts(map { ($_ => "our \$x; sub $_ { out('$_', \$x, GetGlobalVar('V')); \$x = 1; SetGlobalVar('v', '$_') } sub quelmo_exit { out('end $_', \$x) } print 'top level';") } qw(a b c));
    my $r = $s->run(argv => [qw(a b c)]);
    is_deeply($r->said, [['a', undef, undef], ['end a', 1], ['b', undef, 'a'], ['end b', 1], ['c', undef, 'b'], ['end c', 1]], 'three scripts');
    unlike($r->out, qr/top level|failed/, 'nothing outside of subs runs');
    $r->ended_well;
}

# Ends of the first of two scripts. `code`, whether the second one runs, lines that the log must have, and how
# often quelmo_exit runs.
my $PENDING = "Scan('NETMAIL'); ReadMsg(); SetAttribute('\@ AUDIT');";
for my $case (
    ['return', 'return 0', 0, 1, undef], ['die', 'die "reason\n"', 0, 0, qr/^Perl filter eval error: reason$/], ['die with an object', 'die bless {}, "X"', 0, 0, qr/^Perl filter eval error: X=HASH/],
    ['no such function', 'nosuch()', 0, 0, qr/^Perl filter eval error: Undefined subroutine &main::nosuch called/], ['die in a sort', 'my @s = sort { die "x\n" } 1, 2', 0, 0, qr/eval error: x$/],
    ['a die that is caught', 'eval { die }', 0, 1, undef], ['a die in a destructor', '{ my $o = bless [], "D" } sub D::DESTROY { die }', 0, 1, undef],
    ['an error object that dies itself', '{ package E; use overload q{""} => sub { die }, bool => sub { die } } die bless [], "E"', 0, 0, undef],
    ['exit 0', 'exit 0', 0, 0, undef], ['exit 7', 'exit 7', 7, 0, undef], ['exit', 'exit', 0, 0, undef], ['exit in an eval', 'eval { exit 3 }', 3, 0, undef], ['exit in a sort', 'my @s = sort { exit 4 } 1, 2', 4, 0, undef],
    ['exit in a destructor', '{ my $o = bless [], "D" } sub D::DESTROY { exit 5 }', 5, 0, undef], ['exit in a tied value', 'tie my $t, "T"; Log(0, $t); sub T::TIESCALAR { bless [], "T" } sub T::FETCH { exit 6 }', 6, 0, undef],
    ['a wrong count', 'Log()', 1, 0, qr/^program aborted $/], ['a wrong count in an eval', 'eval { Log(1) }', 1, 0, qr/^program aborted $/], ['a fatal error in a sort', 'my @s = sort { Scan("NOSUCH") } 1, 2', 1, 0, qr/^program aborted $/],
    ['a fatal error in a destructor', '{ my $o = bless [], "D" } sub D::DESTROY { Scan("NOSUCH") }', 1, 0, qr/^program aborted $/], ['a fatal error in code of an expression', '"x" =~ /(?{ Scan("NOSUCH") })/', 1, 0, qr/^program aborted $/],
    ['a fatal error in a die handler', 'local $SIG{__DIE__} = sub { Scan("NOSUCH") }; eval { die }', 1, 0, qr/^program aborted $/],
    ['a fatal error in an overload', '{ package O; use overload q{""} => sub { main::Scan("NOSUCH") } } Log(0, bless [], "O")', 1, 0, qr/^program aborted $/],
    ['a die in an overload', '{ package O; use overload q{""} => sub { die "over\n" } } Log(0, bless [], "O")', 0, 0, qr/eval error: over$/],
) {
    my ($name, $body, $code, $second, $line) = @$case;
    my $s = scripts(a => "sub a { $PENDING $body } sub quelmo_exit { out('end') }", b => 'sub b { out("b") }');
    my $r = $s->run(argv => ['a', 'b']);
    my @said = map { $_->[0] } @{$r->said};
    is_deeply([$r->code, join(' ', sort @said), $s->msg('NETMAIL', 1)->{attr}, -e $s->path('quelmo.bsy') ? 1 : 0], [$code, ($second ? 'b ' : '') . 'end', 0x4000, 0], "$name: code, the second script, what was pending")
      or diag(explain($r));
    $r->log_like($line, "$name: the log") if $line;
    $r->log_unlike(qr/program aborted/, "$name is no abort") if $code != 1;
    like($r->log->[-1], qr/^Runtime/, 'the footer');
    my $failed = $code == 0 && !$second && $name !~ /exit/;
    is(scalar(() = $r->out =~ /^script execution failed: `/mg), $failed ? 2 : 0, 'what stdout says');
}

# What doesn't compile, or ends while it does.
for my $case (
    ['a syntax error', 'sub a {', 0, qr/^Can't parse .*a\.pl, perl filtering disabled$/], ['die in BEGIN', 'BEGIN { die }', 0, qr/^Can't parse /], ['a missing module', 'use No::Such::Module;', 0, qr/^Can't parse /],
    ['exit in BEGIN', 'BEGIN { exit 3 } sub a { }', 3, undef], ['exit 0 in BEGIN', 'BEGIN { exit 0 } sub a { }', 0, undef], ['a fatal error in BEGIN', 'BEGIN { Scan("NOSUCH") } sub a { }', 1, qr/^program aborted $/],
    ['no sub of that name', 'sub other { }', 0, qr/^Perl filter eval error: Undefined subroutine &main::a called/],
) {
    my ($name, $text, $code, $line) = @$case;
    my $s = scripts(a => $text, b => 'sub b { out("b") }');
    my $r = $s->run(argv => ['a', 'b']);
    is_deeply([$r->code, $r->said, -e $s->path('quelmo.bsy') ? 1 : 0], [$code, [], 0], "$name: no other script runs");
    $r->log_like($line) if $line;
    like($r->log->[-1], qr/^Runtime/, 'the footer');
}
{
    my $s = scripts(b => 'sub b { out("b") }');
    mkdir $s->path('a.pl');
    my $r = $s->run(argv => ['a', 'b']);
    is_deeply([$r->code, $r->said], [0, []], 'a directory in the place of a script');
    $r->log_like(qr/^Can't (?:parse|read) /);
}

# The end of a script, in its other places: quelmo_exit, END, objects that live to the last.
for my $case (
    ['exit in quelmo_exit', 'sub a { } sub quelmo_exit { exit 4 }', 4, 0], ['die in quelmo_exit', 'sub a { } sub quelmo_exit { die }', 0, 1], ['a fatal error in quelmo_exit', 'sub a { } sub quelmo_exit { out("q"); Scan("NOSUCH") }', 1, 0],
    ['quelmo_exit behind a failure', 'sub a { die } sub quelmo_exit { out("q", Log(0, "late"), GetGlobalVar("x")) }', 0, 0], ['quelmo_exit behind a stop', 'sub a { GetHdr(1) } sub quelmo_exit { out("q"); GetHdr(1) }', 1, 0],
    ['exit in END', 'sub a { } END { exit 5 }', 0, 1], ['exit in a last destructor', 'sub a { our $o = bless [], "D" } sub D::DESTROY { exit 5 }', 0, 1],
    ['a fatal error in a last destructor', 'sub a { our $o = bless [], "D" } sub D::DESTROY { Scan("NOSUCH") }', 1, 0],
) {
    my ($name, $text, $code, $second) = @$case;
    my $s = scripts(a => $text, b => 'sub b { out("b") }');
    my $r = $s->run(argv => ['a', 'b']);
    is_deeply([$r->code, scalar(grep { $_->[0] eq 'b' } @{$r->said}), scalar(grep { $_->[0] eq 'q' } @{$r->said}), -e $s->path('quelmo.bsy') ? 1 : 0], [$code, $second, $text =~ /"q"/ ? 1 : 0, 0], "$name: code and the second script")
      or diag(explain($r));
    like($r->log->[-1], qr/^Runtime/, 'the footer');
    $r->log_unlike(qr/late/, 'nothing is logged behind it');
}

{    # The process is as it was for each script.
    my $spoil = <<'PERL';
use POSIX ();
sub a {
    chdir '/'; umask 0123; $ENV{HOME} = '/nowhere'; $ENV{NEWVAR} = 1; delete $ENV{TZ};
    close STDOUT; close STDIN; close STDERR; open my $f, '>', "$ENV{QUELMO}/stolen"; print $f "mine\n";
    $SIG{$_} = sub { open my $g, '>', "$ENV{QUELMO}/late" } for qw(ALRM USR1 INT); alarm 1;
    POSIX::sigprocmask(POSIX::SIG_BLOCK(), POSIX::SigSet->new(POSIX::SIGINT()));
    $0 = 'renamed';
}
PERL
    my $s = scripts(a => $spoil, b => q{ use Cwd; sub b { out(getcwd(), umask, $ENV{HOME}, $ENV{NEWVAR}, $ENV{TZ}, -t STDIN ? 1 : 0, defined fileno(STDIN) ? 1 : 0); print "printed\n"; sleep 2; out(-e "$ENV{QUELMO}/late" ? 1 : 0) } });
    my $umask = umask;
    # A variable that Perl has put into the environment can't be freed by anybody.
    my %lenient = (ASAN_OPTIONS => "log_path=$s->{top}/sanitizer:exitcode=99:detect_leaks=0");
    my $r = $s->run(argv => ['a', 'b'], env => \%lenient);
    is_deeply($r->said, [[$s->home, $umask, $s->home, undef, 'UTC', 0, 1], [0]], 'directory, umask, environment, descriptors, alarm') or diag($r->err);
    like($r->out, qr/printed\n/, 'STDOUT is back');
    is($s->slurp('stolen'), "mine\n", 'and its descriptor took nothing of ours');
    $r->ended_well;
    $s = scripts(a => $spoil =~ s/^}\n\z/die }\n/mr);
    is($s->run(argv => ['a'], env => \%lenient)->code, 0, 'the same in a script that fails');
}

{    # Where stderr goes, of Perl and of the program.
    my $s = scripts(a => 'use warnings; sub a { warn "a warning\n"; my $x = undef . ""; GetHdr(1) }');
    for my $case ([undef, ''], ['-', "stderr"], ['errors.txt', ''], ['', '']) {
        my ($value, $shown) = @$case;
        my $r = $s->run(argv => ['a'], env => {QUELMO_STDERR => $value});
        my $text = qr/\Aa warning\nUse of uninit.*\nperl_GetHdr\(\) argument count\n\z/;
        if ($shown) { like($r->err, $text, 'shown') } else { is($r->err, '', 'hidden') }
        like($s->slurp('errors.txt'), $text, 'appended to a file') if $value && $value =~ /txt/;
    }
}

{    # exec is refused; system and pipes work, and the programs that they run find the usual signals.
    my $s = scripts(a => q{ use IPC::Open3; sub a {
        eval { exec 'true' }; out($@ =~ /^(exec)/);
        out(system(q(sh -c 'exit 3')) >> 8, `echo text`, system('true'));
        out(scalar qx(sh -c 'kill -PIPE \$\$'; echo \$?));
        my $pid = open3(my $in, my $o, undef, 'echo', 'three'); out(scalar <$o>); waitpid $pid, 0;
    } });
    my $r = $s->run(argv => ['a']);
    is_deeply($r->said, [['exec'], [3, "text\n", 0], ["141\n"], ["three\n"]], 'exec, system, pipes') or diag($r->err);
    $r->ended_well;
}

{    # Results, and values that run code of their own; a function isn't entered from inside another one.
    my $s = scripts(a => <<'PERL');
package T; sub TIEARRAY { bless [] } sub FETCHSIZE { 3 } sub FETCH { $_[1] == 1 ? die "fetch\n" : "el $_[1]" }
package U; BEGIN { our @ISA = 'T' } sub TIEARRAY { bless [] } sub FETCH { @main::gone = (); "el $_[1]" }
package N; BEGIN { our @ISA = 'T' } sub TIEARRAY { bless [] } sub FETCH { eval { main::GetSubject() }; $main::inner = $@; "el $_[1]" }
package X; BEGIN { our @ISA = 'T' } sub TIEARRAY { bless [] } sub FETCH { exit 9 }
package main; our (@u, @n, @t, @x, @plain, @gone, $inner);
sub a {
    my @list = Log(0, 'x'); my $one = GetGlobalVar('none'); out(scalar @list, $one, scalar(my @l = SetGlobalVar('a', 1)), 1 + GetGlobalVar('a'));
    my %h = (k => 'hash'); Log(0, $h{k}); Log(0, $h{missing}); out(exists $h{missing} ? 1 : 0); 'match' =~ /(at)/; Log(0, $1); Log(0, substr('abcdef', 2, 2)); my $n = 12; Log(0, $n); Log(0, 1.5);
    Scan('NETMAIL'); ReadMsg();
    tie @u, 'U'; @gone = ('-s @' . 'x' x 100); @plain = ('one', undef, "w\x{263a}"); $plain[4] = 5;
    CreateMail('NETMAIL', '@2:1/1', '-l @u.', $gone[0]); CreateMail('NETMAIL', '@2:1/1', '-l @plain.');
    tie @n, 'N'; CreateMail('NETMAIL', '@2:1/1', '-l @n.'); out($inner =~ /^(\S+ called from inside)/);
    tie @t, 'T'; eval { CreateMail('NETMAIL', '@2:1/1', '-l @t.') }; out($@);
    tie @x, 'X'; CreateMail('NETMAIL', '@2:1/1', '-l @x.'); out('not reached');
}
PERL
    my $r = $s->run(argv => ['a']);
    is_deeply($r->said, [[0, undef, 1, 2], [0], ['perl_GetSubject() called from inside'], ["fetch\n"]], 'results and values') or diag(explain($r));
    is($r->code, 9, 'an exit inside an array');
    $r->log_like($_) for qr/^hash$/, qr/^at$/, qr/^cd$/, qr/^12$/, qr/^1\.5$/, qr/wide character/;
    like($s->msg('NETMAIL', 2)->{text}, qr/el 0\rel 1\rel 2\r/, 'elements of a tied array');
    is($s->msg('NETMAIL', 2)->{subject}, 'x' x 71, 'and its code frees no argument');
    like($s->msg('NETMAIL', 3)->{text}, qr/one\r\rw\?\r\r5\r/, 'elements that are undef or missing are empty');
}
done_testing;
