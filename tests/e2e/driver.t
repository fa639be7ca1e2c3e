# The command line, the home directory and the scripts in turn.

use strict;
use warnings;
use Quelmo::Test;

my $BANNER = "\nquelmo 1.02/w32 19-01-01 \n\n";
my $USAGE = <<"USAGE";
Usage: quelmo [OPTION]... [SCRIPT]...
 
\t-b, --ignore-bsy      ignore .bsy semaphore
\t-C, --chat-off        suppress all output to screen
\t-c, --config [name]   set alternate config name [name]
\t-d, --debug  [level]  set debug level [level]
\t-e, --touch-echomail  always add via to all unseen messages
\t-h, --help            show this help
\t-i, --icase           ignore case in regex search
\t-l, --logfile         set log file name
\t-r, --regex           turn regex support on
\t-v, --version         program version
\t-p, --perl            compilation perl version

\t-[n] [arg1,arg2,...]  n=1...9
        comma-separated list of arguments to n-th script

USAGE

# Texts: no configuration is read, no lock taken, no log written.
for my $case (
    [[], $BANNER . $USAGE], [['-h'], $USAGE], [['-?'], $USAGE], [['--he'], $USAGE], [['-Z', 'x'], $USAGE], [['x', '--nosuch'], $USAGE],
    [['-v', '-h'], $BANNER], [['-p'], "\nCompilation with Perl - v5.6.0 built for MSWin32-x86\n\n"], [['-d'], $USAGE],
) {
    my ($argv, $out) = @$case;
    my $s = scenario(config => "NONSENSE x\n", script => 'out(1)');
    my $r = $s->run(argv => $argv);
    is_deeply([$r->code, $r->out, $r->said, -e $s->path('quelmo.log') ? 1 : 0], [0, $out, [], 0], "text of @$argv");
}

# What each script gets: by its place on the command line, whether or not the ones before it exist.
for my $case (
    [['-1', 'a,b', 'x', 'y'], ['x', 'a', 'b'], ['y']], [['x', '-2', 'z', 'y'], ['x'], ['y', 'z']], [['-2', 'z', 'missing', 'y'], ['y', 'z']],
    [['-1', ',a,,b,', 'x'], ['x', 'a', 'b']], [['-1', 'a', '-1', 'b', 'x'], ['x', 'b']], [['-1', ',', 'x'], ['x']], [['-1', 'a b, c', 'x'], ['x', 'a b', ' c']],
    [[('x') x 8, 'y', 'x', '-9', 'nine'], (['x']) x 8, ['y', 'nine'], ['x']], [['-1x', '--', 'x'], ['x', 'x']],
) {
    my ($argv, @said) = @$case;
    my $s = scenario;
    $s->script('out("x", @_)', 'x')->script('out("y", @_)', 'y');
    my $r = $s->run(argv => $argv);
    is_deeply($r->said, \@said, "arguments of @$argv");
    $r->ended_well;
}

{    # A script that isn't there is told of, and so is a run without any.
    my $s = scenario(config => "CHAT ON\n");
    my $r = $s->run(argv => ['nosuch']);
    my $name = $s->path('nosuch.pl');
    is_deeply([$r->code, $r->err], [0, "\ascript not found: $name\n"], 'a missing script');
    $r->log_like(qr/^script not found: \Q$name\E$/);
    is($r->out, "reading configuration file `quelmo.cfg'\n\n", 'and nothing else on stdout');
    $r = $s->run(argv => ['-b']);
    is_deeply([$r->code, $r->err, $r->log->[1]], [0, "nothing to do\n", 'Configuration read'], 'no script');
    $r->ended_well;
    $s->script('out(2)', 'x');
    is($s->run(argv => ['x'])->out, "reading configuration file `quelmo.cfg'\n\n\nExecuting script: " . $s->path('x.pl') . "\n\n", 'progress');
    is($s->run(argv => ['-C', 'x'])->out, "reading configuration file `quelmo.cfg'\n\n", 'no progress with -C');
}

{    # File names of scripts: home directory, extension, separators of both kinds, the sub that is called.
    my $s = scenario;
    mkdir $s->path('Sub');
    my $home = $s->home;
    $s->spew("Sub/$_", "sub s1 { Log(0, 's1') }\nsub two { Log(0, 'two') }\n1;\n") for 's1.pl', 'S2.PX', 'two.p6', 'two.perl';
    for my $case (['Sub/s1', 's1'], ['sub\s1', 's1'], ['Sub/s2.px', undef], ["$home/Sub/two.p6", 'two'], ['Sub\two.perl', undef], ['q:\sub\s1', 's1']) {
        my ($name, $line) = @$case;
        my $r = $s->run(argv => [$name], env => {QUELMO_DRIVE_Q => $home});
        if (defined $line) { $r->log_like(qr/^\Q$line\E$/, "script $name") }
        else { like($r->out, qr/^script execution failed: `.*'$/m, "no sub in $name") }
    }
    my $dotted = scenario(script => 'out(1)');
    rename $dotted->home, "$dotted->{top}/ho.me" or die;
    $dotted->{home} = "$dotted->{top}/ho.me";
    like($dotted->run(argv => ['route'])->err, qr/script not found: /, 'a dot in the home directory keeps the extension off');
}

{    # The home directory: QUELMO, the program's own directory when it is called in the DOS way, the current one.
    my $s = scenario(config => "DEBUG 0\n");
    mkdir $s->path($_) for 'x', 'y';
    $s->spew("$_/quelmo.cfg", "MAINADDRESS 1:1/1\@net\nLOGFILE home.log\n")->spew("$_/r.pl", "sub r { Log(0, 'in $_') }\n1;\n") for 'x', 'y';
    my $home = $s->home;
    for my $case ([$home . '/x', 'x'], [$home . '\Y', 'y'], ['x/', 'x'], ['.\y\\', 'y'], ["$home/nosuch", undef], ['', undef], [undef, undef]) {
        my ($value, $dir) = @$case;
        unlink glob("$home/*/home.log");
        my $r = $s->run(argv => ['r'], env => {QUELMO => $value});
        my $name = $value // 'undef';
        if (defined $dir) { like($s->slurp("$dir/home.log") // '', qr/in $dir\n/, "QUELMO $name") }
        else { like($r->err, qr/script not found: r.pl/, "QUELMO $name") }
        is($r->out =~ /incorrect path in QUELMO variable `\Q$name\E', \nassuming the current dir\n/ ? 1 : 0, $name =~ /nosuch/ ? 1 : 0, 'what is said of it');
    }
    symlink $Quelmo::Test::PROGRAM, "$home/x\\quelmo" or die;
    local $Quelmo::Test::PROGRAM = "$home/x\\quelmo";
    unlink "$home/x/home.log";
    $s->run(argv => ['r'], env => {QUELMO => undef});
    like($s->slurp('x/home.log') // '', qr/in x\n/, 'the directory of the program');
}

# Flags of the command line overrule the configuration, behind its reading.
for my $case ([['-d', '3'], 'DEBUG 1', 3], [['-d', '0'], 'DEBUG 2', 2], [['--debug=4'], 'DEBUG 1', 4], [['-d', 'x'], 'DEBUG 2', 2], [['-d', '9' x 20], 'DEBUG 1', 6]) {
    my ($options, $config, $level) = @$case;
    my $s = scenario(config => "$config\n", script => 'Log($_, "level $_") for 0 .. 6');
    my $r = $s->run(argv => [@$options, 'route']);
    is_deeply([grep { /^level/ } @{$r->log}], [map { "level $_" } 0 .. $level], "@$options and $config");
}
{
    my $s = scenario(config => "USEREGEXP NO\nLOGINCLUDE a.c\nDEBUG 0\n", script => 'Log(5, "abc"); Log(5, "xa.cx")');
    my $r = $s->run(argv => ['-r', '-i', 'route']);
    $r->log_like(qr/xa\.cx/);
    $r->log_unlike(qr/abc/, '-r changes nothing of what was read before');
}

{    # Another configuration; one that is missing is no error.
    my $s = scenario(script => 'out(1)');
    $s->spew('other.cfg', "LOGFILE other.log\n");
    my $r = $s->run(argv => ['-c', 'other.cfg', 'route']);
    is_deeply([$r->code, $r->said], [0, [[1]]], 'another configuration');
    like($s->slurp('other.log'), qr/Runtime/, 'is the one that is read');
    $r = $s->run(argv => ['--config', 'nosuch.cfg', 'route']);
    is_deeply([$r->code, $r->said], [0, [[1]]], 'a missing configuration');
}
done_testing;
