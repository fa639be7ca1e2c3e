# Configurations with faults: told with file and line, the run stops before it touches anything. And what is no fault.

use strict;
use warnings;
use Quelmo::Test;

my $SCRIPT = q{ Scan('NETMAIL'); out(ReadMsg()) };

for my $case (
    ["FOO bar\n", qr/quelmo\.cfg -- line #4, unknown keyword: `FOO bar'/], ["DEBUG\n", qr/line #4, syntax: `DEBUG'/], ["TIMEZONE 3\n", qr/unknown keyword/],
    ["CHAT maybe\n", qr/line #4, syntax: `/], ["MAINADDRESS 2:999/100\n", qr/you MUST specify domain for MainAddress/], ["MAINADDRESS x y\n", qr/syntax: `/],
    ["DATA NAME\n", qr/syntax: `/], ["DATA NAME x\n#END#\n", qr/empty Data Block: `/], ["DATA NAME x\na\n", qr/expected `#END#', got: `/], ["#END# x\n", qr/not expected : `/],
    ["#END#\n", qr/syntax: `/], ["DATA NAME x\naa\n#END#\nDATA ADDRESS X\n2:1/1\n#END#\n", qr/tag already defined: `/], ["DATA FOO x\naa\n#END#\n", qr/unknown data type: `FOO'/],
    ["DATA ADDRESS x\n2:1/x\n#END#\n", qr/line #5, incorrect address : `2:1\/x'/], ["DATA ROUTING x\n2:1/1\n#END#\n", qr/incorrect argument count/],
    ["DATA ROUTING x\n2:1/#.# *:*/*\n#END#\n", qr/incorrect <dest> : `/], ["DATA SYSTEM x\n2:1/1 net\n#END#\n", qr/no zones defined/],
    ["DATA MESSAGEAGE x\nsoon\n#END#\n", qr/syntax in age : `soon'/], ["DATA ATTRIBUTE x\nFOO\n#END#\n", qr/incorrect attribute : `/],
    ["USEREGEXP YES\nDATA NAME x\na(\n#END#\n", qr/regular expression syntax : `a\('/], ["FIDOAREA nowhere X\n", qr/path not found: `/], ["FIDOAREA .\n", qr/incorrect area tag : `/],
    ["FIDOAREA . X nosuch\n", qr/data system block undefined : `nosuch'/], ["FIDOAREA . X echomail more\n", qr/echomail/], ["TEMPLATEPATH nowhere\n", qr/template path not found : `/],
    ["DATA FILES x\n#.\n#END#\n", qr/no filename defined/], ["LOCKFILE " . 'x' x 300 . "\n", qr/syntax|unknown keyword/], ["ECHOAREA T .\n", qr/error defining echoarea/],
    ["\$include loop.cfg\n", qr/Stack overflow/],
) {
    my ($config, $pattern) = @$case;
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r"}]}, config => $config, script => $SCRIPT);
    $s->spew('loop.cfg', "\$INCLUDE loop.cfg\n");
    my $before = $s->slurp('NETMAIL/1.msg');
    my $r = $s->run(timeout => 20);
    my $shown = length $config > 70 ? substr($config, 0, 70) : $config;
    is($r->code, 1, "code 1: $shown");
    like($r->err . $r->out, $pattern, 'the message');
    is_deeply([$r->said, $r->log, $s->slurp('NETMAIL/1.msg') eq $before, -e $s->path('quelmo.bsy') ? 1 : 0], [[], [], 1, 0], 'nothing is touched');
}

# No faults: lines, and what a script says.
for my $case (
    ["; a comment\n\nx\n  \t \nDATA NAME T ; more\nan \\; x ; comment\n#end#\n", q{Select('@NAME an \; x'), SelectTo('T')}, 'an \; x', [1, 1]],
    ["DATA NAME T\n\$include inner.cfg\n#END#\n", q{SelectTo('T')}, 'inner', [1]], ["\$includes open.cfg\n#END#\n", q{SelectTo('O')}, 'open', [1]],
    ["\$include missing.cfg\nDATA NAME T\nx y\n#END#\n", q{SelectTo('T')}, 'x y', [1]], ["DATA NAME T\r\nx y\r\n#END#\r\n", q{SelectTo('T')}, 'x y', [1]],
    ["DATA ALIAS T\nwhat ever\n#END#\nDATA NAME T\nxx\nyy\n#END#", q{SelectTo('T')}, 'xx', [1]], ["DATA MACRO M\nWHO x y\n#END#\nDATA NAME T\n%%WHO%%\n#END#\n", q{SelectTo('T')}, 'x y', [1]],
    ["DATA MACRO M\nA %A%\nB %C%\nC %B%\n#END#\nDATA NAME T\n%A% %B%\nxx\n#END#\n", q{SelectTo('T')}, 'xx', [1]],
    ["DATA NAME T\n\"" . 'n' x 251 . "\"\n#END#\n", q{SelectTo('T')}, 'n' x 35, [1]], ["DATA TEXTSTRING T\n" . 'a' x 254 . "\n" . 'b' x 300 . "\n#END#\n", q{Select('T')}, 'x', [1], 'b' x 46],
    ["DATA NAME T\nno line end\n#END#", q{SelectTo('T')}, 'no line end', [1]], ["DATA NAME abcdefghijklmnopqrstuvwxyz\nxx\n#END#\n", q{SelectTo('ABCDEFGHIJKLMNOPQRS')}, 'xx', [1]],
    ["DATA NAME T\nx\nyy\n#END#\n", q{SelectTo('T')}, 'x', [0]],
) {
    my ($config, $questions, $to, $answers, $body) = @$case;
    my $s = scenario(areas => {NETMAIL => [{to => $to, text => ($body // 'Hi') . "\r"}]}, config => $config, script => "Scan('NETMAIL'); ReadMsg(); out($questions)");
    $s->spew('inner.cfg', "outer\ninner\n");
    $s->spew('open.cfg', "DATA NAME O\nopen\n");
    my $r = $s->run(timeout => 20);
    is_deeply($r->said, [$answers], substr $config, 0, 70) or diag($r->err);
}

{    # Without QUELMO, and with one that leads nowhere, the home directory is the current one.
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r"}]}, script => $SCRIPT);
    for my $home (undef, '', 'nowhere/at/all') {
        my $r = $s->run(env => {QUELMO => $home});
        $r->ended_well('QUELMO=' . ($home // 'unset'));
        is_deeply($r->said, [[1]], 'the script ran');
        is($r->out =~ /incorrect path in QUELMO variable `nowhere/ ? 1 : 0, ($home // '') =~ /nowhere/ ? 1 : 0, 'a word about the wrong one');
    }
}

{    # Paths of both kinds, drive letters, other case; and options of the command line.
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r"}], 'Sub/Dir' => []}, bare => 1);
    my $home = $s->home;
    for my $path ('sub\dir', 'SUB/DIR/', '.\Sub\Dir', "$home/Sub/Dir", 'q:\sub\DIR', 'Q:/Sub/Dir', ($home =~ s{/}{\\}gr) . '\sub\dir') {
        unlink glob "$home/Sub/Dir/*";
        $s->spew('quelmo.cfg', "MAINADDRESS 2:999/100\@testnet\nFIDOAREA NETMAIL NETMAIL\nFIDOAREA $path OUT\n");
        my $r = $s->run(script => q{ Scan('NETMAIL'); ReadMsg(); out(CopyArea('OUT')); }, env => {QUELMO_DRIVE_Q => $home});
        is(join(' ', $s->files('Sub/Dir')), '1.msg', "area path $path") or diag($r->err);
    }
}
done_testing;
