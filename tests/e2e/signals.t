# SIGINT, SIGTERM and SIGHUP wherever they come: pending changes are saved, the log has its footer, the lock goes, code 1.

use strict;
use warnings;
use Quelmo::Test;
use Time::HiRes qw(sleep time);

my $OURS = via_line('2:999/100@testnet');
# Tells the test that its moment has come.
my $READY = q{ sub ready { open my $f, '>', "$ENV{QUELMO}/ready"; close $f } };

sub pending {
    my ($body, $top) = @_;
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r$OURS"}]}, script => "Scan('NETMAIL'); ReadMsg(); SetAttribute('\@ AUDIT'); $body; out('went on')");
    $s->spew('route.pl', $READY . ($top // '') . $s->slurp('route.pl'));
    return $s;
}

sub signalled {
    my ($s, @signals) = @_;
    return sub {
        my ($pid) = @_;
        $s->wait_for('ready');
        for my $signal (@signals) { kill $signal, $pid; sleep 0.05 }
    };
}

sub is_stopped {
    my ($s, $r, $name, %o) = @_;
    my @end = @{$r->log} >= 2 ? @{$r->log}[-2, -1] : @{$r->log};
    is_deeply([$r->code, $r->said, $s->msg('NETMAIL', 1)->{attr}, scalar(grep { $_ eq 'program aborted ' } @{$r->log}), -e $s->path('quelmo.bsy') ? 1 : 0], [1, [], 0x4000, 1, 0], $name)
      or diag(explain($r));
    like($r->log->[-1] // '', qr/^Runtime: /, "$name: the footer");
    cmp_ok($r->seconds, '<', $o{within} // 5, "$name: at once");
}

# What a script may be at when the signal comes.
my %AT = (
    'an endless loop' => 'ready(); 1 while 1', 'sleep' => 'ready(); sleep 60', 'select' => 'ready(); select undef, undef, undef, 60', 'an eval' => 'ready(); while (1) { eval { 1 while 1 } }',
    'a runaway expression' => q{ready(); ('a' x 60) =~ /^(?:(a|aa)\1?)+[bc]/}, 'recursion' => 'ready(); my $f; $f = sub { no warnings; $f->() }; $f->()', 'a read' => 'pipe my $r, my $w; ready(); <$r>',
    'script functions' => 'ready(); GetSubject() while 1', 'a sort block' => 'ready(); my @s = sort { sleep 60; 0 } 1, 2', 'a map' => 'ready(); my @m = map { sleep 60 } 1', 'a die handler' => 'local $SIG{__DIE__} = sub { ready(); sleep 60 }; eval { die }',
    'a destructor' => '{ my $o = bless [], "Late" } ', 'a tied value' => 'tie my $t, "Slow"; my $v = "$t"', 'an overloaded value' => 'my $v = "" . bless {}, "Slow"',
    'the argument of a function' => 'Log(0, bless {}, "Slow")', 'a handler of its own, past' => '{ local $SIG{INT} = sub { 1 } } ready(); sleep 60',
);
my $SLOW = q{ package Slow; use overload '""' => sub { main::ready(); sleep 60; 'slow' }, fallback => 1; sub TIESCALAR { bless [] } sub FETCH { main::ready(); sleep 60 } package Late; my $calls = 0; sub DESTROY { return if $calls++; main::ready(); sleep 60 } package main; };
for my $name (sort keys %AT) {
    my $s = pending($AT{$name}, $SLOW);
    is_stopped($s, $s->run(timeout => 30, during => signalled($s, 'INT')), $name);
}
for my $signal (qw(TERM HUP)) {
    my $s = pending('ready(); 1 while 1');
    is_stopped($s, $s->run(timeout => 30, during => signalled($s, $signal)), "SIG$signal");
}

{    # Twice in a row; and an end of the script that doesn't end.
    my $s = pending('ready(); 1 while 1');
    is_stopped($s, $s->run(timeout => 30, during => sub { my $pid = shift; $s->wait_for('ready'); kill INT => $pid; kill TERM => $pid for 1 .. 5 }), 'signals in a row');
    $s = pending('ready(); 1 while 1', 'sub quelmo_exit { Log(0, "late"); ready2(); 1 while 1 } sub ready2 { open my $f, ">", "$ENV{QUELMO}/ready2"; close $f }');
    my $r = $s->run(timeout => 30, during => sub { my $pid = shift; $s->wait_for('ready'); kill INT => $pid; $s->wait_for('ready2'); kill INT => $pid });
    is_stopped($s, $r, 'an endless quelmo_exit gives way to a second signal');
    $r->log_unlike(qr/late/, 'and what it logs is dropped');
    $s = pending('ready(); 1 while 1', 'END { ready2(); 1 while 1 } sub ready2 { open my $f, ">", "$ENV{QUELMO}/ready2"; close $f }');
    is_stopped($s, $s->run(timeout => 30, during => sub { my $pid = shift; $s->wait_for('ready'); kill INT => $pid; $s->wait_for('ready2'); kill INT => $pid }), 'so does an endless END');
}

{    # While the script compiles, and between two scripts.
    my $s = pending('1');
    $s->spew('slow.pl', "$READY BEGIN { ready(); sleep 60 } sub slow { } 1;");
    my $r = $s->run(argv => ['slow', 'route'], timeout => 30, during => signalled($s, 'INT'));
    is_deeply([$r->code, $r->said, -e $s->path('quelmo.bsy') ? 1 : 0], [1, [], 0], 'while a script compiles');
    like($r->log->[-1], qr/^Runtime/, 'with the footer');
    $s = pending('1');
    $s->spew('last.pl', q{ sub last { } sub quelmo_exit { Log(0, 'bye'); kill 'INT', $$; select undef, undef, undef, 0.2 } 1; });
    $r = $s->run(argv => ['last', 'route']);
    is_deeply([$r->code, $r->said, scalar(grep { $_ eq 'bye' } @{$r->log})], [1, [], 1], 'in quelmo_exit of a script that is done');
}

{    # A forked child: neither its signals nor its end clean up the run.
    for my $end ('exit 3', 'return', 'die', 'kill INT => $$; sleep 5', 'GetHdr(1)', 'POSIX::_exit(0)', 'exec "true"') {
        my $s = pending("my \$pid = fork; if (!\$pid) { $end } waitpid \$pid, 0; out(-e \"\$ENV{QUELMO}/quelmo.bsy\" ? 1 : 0); Log(0, 'parent')", 'use POSIX (); END { open my $f, ">>", "$ENV{QUELMO}/ends"; print $f "$$\n" }');
        my $r = $s->run(timeout => 30);
        is_deeply([$r->said, $s->msg('NETMAIL', 1)->{attr}], [[[1], ['went on']], 0x4000], "a child that ends with $end") or diag(explain($r));
        $r->ended_well;
        is(scalar(grep { /^(?:program aborted|Runtime)/ } @{$r->log}), 1, 'one end in the log');
    }
}

{    # The C library's own alarm about a damaged heap: one attempt to save what there is.
    my $s = pending('require POSIX; POSIX::abort()');
    is_stopped($s, $s->run, 'SIGABRT');
}
done_testing;
