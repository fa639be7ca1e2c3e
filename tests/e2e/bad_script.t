# Scripts that pass what nobody expects: undef, references, wide characters, a million bytes, wrong counts.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
my $CONFIG = "DATA ADDRESS A\n2:1/1\n#END#\nDATA ROUTING R\n2:1/1 *:*/*.*\n#END#\n";


sub new_one {
    return scenario(areas => {NETMAIL => [map { {from => "m$_", text => "Hi\r$OURS"} } 1, 2], OUT => []}, config => $CONFIG, @_);
}

for my $call ('Scan(1, 2, 3)', 'Move()', 'GetHdr(1)', 'Log(1)') {
    my $s = new_one(script => "Scan('NETMAIL'); ReadMsg(); SetAttribute('\@ AUDIT'); $call; out(1)");
    my $r = $s->run;
    $r->stopped(qr/argument count/, "$call stops the run");
    is_deeply([$s->msg('NETMAIL', 1)->{attr}, $r->said], [0x4000, []], "$call: the change before it is saved");
}

# Odd values where mail moves and changes (all_functions.t has the other functions): the run ends in order, with 0 or 1, and both messages are still somewhere.
my %VALUES = (
    undef => 'undef', empty => q{''}, blanks => q{"  \t "}, number => '1e99', array => '[1, 2]', code => 'sub {1}', glob => '*STDOUT', hash => '{a => 1}',
    wide => q{"\x{263a} \x{100}x"}, utf8 => q{do { my $v = "\xe4\x{100}"; chop $v; $v }}, nul => q{"a\0b"}, long => q{'x' x 1_000_000}, percents => q{'%' x 5000},
    formats => q{'%s%n%d%s%s'}, macro => q{'%FROM%%%TO%%%'}, object => q{bless({}, 'Odd')}, tied => 'do { tie my $t, "Tied"; $t }', bytes => q{join '', map { chr } 0 .. 255},
    at => q{'@'}, bang => q{'!'}, option => q{'-t'}, options => q{'-h' . 9 x 300}, address => q{'@ADDRESS ' . '9' x 300 . ':1/1'}, name => q{'@NAME ' . 'x' x 300},
);
my $ODD = q{package Odd; use overload '""' => sub { 'odd text' }; package Tied; sub TIESCALAR { bless [] } sub FETCH { 'tied text' } package main;};
for my $name (qw(Move CopyArea Bounce CreateMail ChangeMail ChangeFrom ChangeTo)) {
    my $count = $name eq 'CreateMail' ? 2 : 1;
    for my $value (sort keys %VALUES) {
        my $s = new_one(script => "Scan('NETMAIL'); ReadMsg(); $name(" . join(',', ($VALUES{$value}) x $count) . '); out(1)');
        $s->spew('route.pl', $ODD . $s->slurp('route.pl'));
        my $r = $s->run;
        my $kept = grep { my $m = $_; grep { ($_->{from} // '') =~ /^$m$|quelmo/ } map { my $a = $_; map { $s->msg($a, $_) // () } grep { /\.msg$/ } $s->files($a) } 'NETMAIL', 'OUT' } 'm1', 'm2';
        my $good = ($r->code == 0 && $r->said->[0]) || ($r->code == 1 && length $r->err);
        ok($good && $kept == 2 && !-e $s->path('quelmo.bsy'), "$name($value)") or diag(explain($r));
    }
}

{    # Wide characters become question marks, with a log line; bytes stay bytes, and the caller's text isn't touched.
    my $s = new_one(script => q{
        Scan('NETMAIL'); ReadMsg();
        my $wide = "a\x{263a}b\xe4"; my $copy = $wide;
        ChangeMail("-s \@$wide"); out(GetSubject(), $wide eq $copy);
        my $up = "\xe4\xff"; utf8::upgrade($up); ChangeMail("-s \@$up"); out(GetSubject(), utf8::is_utf8($up));
        SetGlobalVar('v', "\x{100}\x80"); out(GetGlobalVar('v'));
    });
    my $r = $s->run;
    is_deeply($r->said, [["a?b\xe4", 1], ["\xe4\xff", 1], ["?\x80"]], 'bytes of a text');
    $r->log_like(qr/wide/i, 'a log line about wide characters');
    is($s->msg('NETMAIL', 1)->{subject}, "\xe4\xff", 'bytes on disk');
}

{    # eval doesn't hold a stop; a text of a million bytes is cut where its field ends, or comes out whole.
    my $s = new_one(script => q{ Scan('NETMAIL'); ReadMsg(); eval { SetAttribute('@ AUDIT'); GetHdr(1) }; out('went on') });
    my $r = $s->run;
    $r->stopped(qr/perl_GetHdr\(\) argument count/, 'eval doesn\'t hold a stop');
    is_deeply([$r->said, $s->msg('NETMAIL', 1)->{attr}], [[], 0x4000], 'and the change is saved');
    $s = new_one(script => q{
        Scan('NETMAIL'); ReadMsg(); my $big = join ' ', 1 .. 200_000;
        ChangeMail("-s \@$big", "-l \@$big", "-r \@$big", "-o \@$big", "-t \@2:1/2 $big"); Log(0, $big); SetGlobalVar($big, $big); out(GetGlobalVar($big) eq $big);
    });
    $r = $s->run;
    $r->ended_well;
    my $big = join ' ', 1 .. 200_000;
    my $m = $s->msg('NETMAIL', 1);
    is_deeply([@$m{qw(subject to)}, $r->said->[0][0]], [substr($big, 0, 71), substr($big, 0, 35), 1], 'fields are cut, variables aren\'t');
    ok(index($m->{text}, "$big\r") >= 0, 'a line comes out whole');
    my ($tear, $origin) = map { substr $big, 0, 63 } 1, 2;
    like($m->{text}, qr/\r--- $tear\r \* Origin: $origin \(/, 'tear line and Origin are cut');
}
done_testing;
