# quelmo-base, and Renumber, over the three kinds of base.

use strict;
use warnings;
use Quelmo::Test;

my $TOOL = $ENV{QUELMO_BASE_BIN};
sub tool { my ($s, @args) = @_; my $out = do { local $ENV{TZ} = 'UTC'; my $quoted = join ' ', map { "'$_'" } @args; qx{cd '@{[$s->home]}' && '$TOOL' $quoted 2>&1} }; return [$? >> 8, $out] }

my $s = scenario(areas => {MSG => []}, config => "SQUISHAREA sq SQ\nJAMAREA jam JAM\nPKTAREA . PKT\n");
my @KINDS = (['msg', 'MSG', 'MSG'], ['squish', 'SQ', 'sq'], ['jam', 'JAM', 'jam']);
$s->run(script => q{for my $area (qw(MSG SQ JAM)) { for my $n (1 .. 5) {
    CreateMail($area, '@2:5/6 Ann', "-f \@2:999/1 Bob $n", '-s @Hello' . "\x1b$n", '-d 01 Jan 99  12:00:00', '-l @text' . 'x' x (100 * $n)) } }})->ended_well('three bases');
for my $kind (@KINDS) {
    my ($word, undef, $path) = @$kind;
    my $lines = join '', map { "     $_  01 Jan 99  12:00:00  Bob $_                     Ann                       Hello.$_  LOCAL PRIVATE\n" } 1 .. 5;
    is_deeply([tool($s, $word, $path), tool($s, '--check', $word, $path)], [[0, $lines], [0, '']], "$word: listed, and whole");
    my $none = tool($s, '--check', $word, 'none');
    is($none->[0], 2, "$word: none there") || diag $none->[1];
}
is(tool($s, @$_)->[0], 2, "usage: @$_") for [], ['msg'], ['pkt', '.'], ['--check', 'msg'], ['msg', '.', 'x'];
is(tool($s, '--help')->[0], 0, '--help');

# Kills, updates that need more room, and Renumber: of one area, of all but the current one.
my %size = map { $_ => -s $s->path($_) } qw(sq.sqd jam.jdt);
my $r = $s->run(script => q{
    for my $area (qw(MSG SQ JAM)) { Scan($area); my $n = 0; while (ReadMsg()) { if ($n++ % 2) { Kill() } else { ChangeMail('-l @' . 'y' x 200) } } }
    Renumber(' sq ', 'more'); Renumber(); Renumber('PKT');
});
$r->ended_well('Renumber');
is((tool($s, '--check', @$_[0, 2]))->[0], 0, "$_->[0]: whole behind kills and a pack") for @KINDS;
is((split ' ', tool($s, @$_[0, 2])->[1] =~ s/.*\n(?=.)//sr)[0], $_->[0] eq 'jam' ? 5 : 3, "$_->[0]: last number") for @KINDS;
$s->run(script => q{Renumber('JAM')})->ended_well;
is((split ' ', tool($s, 'jam', 'jam')->[1] =~ s/.*\n(?=.)//sr)[0], 3, 'a JAM base is numbered anew unless it is in use');
cmp_ok(-s $s->path($_), '<', $size{$_}, "$_ is smaller") for qw(sq.sqd jam.jdt);

# Damage: the tool says where, a pack refuses and says so.
for my $case (['squish', 'SQ', 'sq', 'sq.sqd', 256, "\0\0\0\0", 'squish'], ['jam', 'JAM', 'jam', 'jam.jhr', 1024, 'XXXX', 'JAM']) {
    my ($word, $tag, $path, $file, $at, $bytes, $name) = @$case;
    my $old = $s->slurp($file);
    substr($old, $at, length $bytes) = $bytes;
    $s->spew($file, $old);
    my $found = tool($s, '--check', $word, $path);
    is($found->[0], 1, "$word: damaged");
    like($found->[1], qr/\Q$file\E|\b\Q$at\E\b|0*100\b|400/, "$word: and where") || diag $found->[1];
    my $run = $s->run(script => "Renumber('$tag'); Renumber()");
    $run->log_like(qr/^perl_Renumber\(\) error: pack failed for $name area `$tag', errno/);
    is($s->slurp($file), $old, "$word: a pack leaves it alone");
}
$s->spew('MSG/9.msg', 'short');
is_deeply(tool($s, '--check', 'msg', 'MSG'), [1, "9.msg: 5 bytes, fewer than a header\n"], 'msg: damaged');
done_testing;
