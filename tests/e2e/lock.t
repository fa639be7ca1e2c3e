# The run's lock: one run at a time, and nobody else's lock is ever taken away.

use strict;
use warnings;
use Quelmo::Test;

for my $case (['fresh', 0, 1], ['179 minutes old', 179 * 60 + 30, 1], ['180 minutes old', 180 * 60, 0], ['of tomorrow', -86400, 1]) {
    my ($name, $age, $stops) = @$case;
    my $s = scenario(script => q{ open my $l, '<', "$ENV{QUELMO}/quelmo.bsy"; out($$, scalar <$l>) });
    $s->spew('QUELMO.BSY', "1\n");
    my $then = time - $age;
    utime $then, $then, $s->path('QUELMO.BSY') or die;
    my $r = $s->run;
    if ($stops) {
        is_deeply([$r->code, $r->out, $r->said, $r->log, $s->slurp('QUELMO.BSY')], [1, "reading configuration file `quelmo.cfg'\nlock file found! exit...\n", [], [], "1\n"], "a lock $name stops the run and stays");
    } else {
        my $pid = $r->said->[0][0];
        is_deeply([$r->code, $r->said->[0][1], glob($s->home . '/*.[bB]*')], [0, "$pid\n"], "a lock $name is replaced, and goes at the end");
    }
}

{    # Another name; a place where none can be made.
    my $s = scenario(config => "LOCKFILE my.lock\n", script => q{ out(-e "$ENV{QUELMO}/my.lock" ? 1 : 0) });
    my $r = $s->run;
    is_deeply([$r->said, -e $s->path('my.lock') ? 1 : 0], [[[1]], 0], 'LOCKFILE');
    $s = scenario(config => "LOCKFILE no/such/dir.bsy\n", script => 'out(1)');
    $r = $s->run;
    is_deeply([$r->code, $r->said, $r->log, $r->err], [1, [], [], qq{\acreateLockFile: cannot create lock file "no/such/dir.bsy"\n}], 'a lock that cannot be made');
}

{    # The lock that is removed is the one that was made: not one that came in its place, and wherever the script goes.
    my $s = scenario(script => q{ chdir '/'; });
    $s->run->ended_well;
    ok(!-e $s->path('quelmo.bsy'), 'the lock goes after a chdir');
    $s = scenario(script => q{ unlink "$ENV{QUELMO}/quelmo.bsy"; open my $l, '>', "$ENV{QUELMO}/quelmo.bsy"; print $l "4711\n"; close $l });
    $s->run->ended_well;
    is($s->slurp('quelmo.bsy'), "4711\n", 'the lock of another run stays');
}

{    # A second run while the first one is at work.
    my $s = scenario(script => q{ if (@_) { open my $f, '>', "$ENV{QUELMO}/started"; close $f; select undef, undef, undef, 0.01 until -e "$ENV{QUELMO}/go" } out(@_) });
    my $second;
    my $r = $s->run(args => 'first', during => sub {
        $s->wait_for('started');
        my $pid = fork // die;
        if (!$pid) { open STDOUT, '>', '/dev/null'; chdir $s->home; $ENV{QUELMO} = $s->home; exec $Quelmo::Test::PROGRAM, 'route' }
        waitpid $pid, 0;
        $second = $? >> 8;
        $s->spew('go', '');
    });
    is_deeply([$second, $r->code, $r->said], [1, 0, [['first']]], 'a second run stops, the first one goes on');
}
done_testing;
