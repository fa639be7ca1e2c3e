# Editing the text of the message in memory: lines, templates, kludges, substitutions, and the subjects of attaches.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
my $CONFIG = <<'CFG';
TEMPLATEPATH tpl
DATA TEXTSTRING BAD
spam
 casino
#END#
DATA TEXTSTRING PAIRS
one
eins
two
zwei
three
#END#
DATA KLUDGE IDS
MSGID:
!PID:
#END#
USEREGEXP YES
DATA TEXTSTRING RX
v[0-9]+
NN
k*
#END#
DATA KLUDGE RXIDS
[MP]
#END#
USEREGEXP NO
CFG

sub edit {
    my ($text, $script, %o) = @_;
    my $s = scenario(config => '', areas => {NETMAIL => [{text => $text . $OURS, %o}]});
    mkdir $s->path('tpl');
    $s->spew('quelmo.cfg', $Quelmo::Test::BASE_CONFIG . $CONFIG . "FIDOAREA NETMAIL NETMAIL\n");
    $s->spew('tpl/note.tpl', "Dear %TONAME%\nfi\0rst %%list.%% last\n100% sure 5%\n");
    $s->script("our \@list = ('a', 'b %FROMNAME%'); Scan('NETMAIL'); ReadMsg(); $script");
    return $s;
}

my $HEAD = "\x01INTL 2:1/1 2:1/1\r\x01MSGID: 2:1/1 1\r\x01PID: p\r";
my $TAIL = "--- t\r * Origin: o (2:1/1)\rSEEN-BY: 1/1\r";
my $LONG = 'J' x 600;
for my $case (
    # script, body between head and tail, body (or the whole text) expected, result
    [q{DeleteLine("2")}, "one\r$LONG\rthree\r", "one\rthree\r", 1], [q{DeleteLine('-n 0')}, "one\rtwo\r", "two\r", 1],
    [q{DeleteLine("7")}, "one\r", "one\r", 0], [q{DeleteLine('+~@spam')}, "Spam\rham\rmore SPAM $LONG\r", "ham\r", 1],
    [q{DeleteLine('BAD')}, "ham\rspam\rspam\r", "ham\rspam\r", 1], [q{DeleteLine('-s ~BAD')}, "a Casino b\rham\r", "ham\r", 1],
    [q{DeleteLine('@"---"')}, "---\rx\r---\r", "x\r---\r", 1], [q{DeleteLine('~@TEXT') + DeleteLine('@text')}, "a text\rText\r", "Text\r", 1],
    [q{AddLine('new', -1)}, "old\r", [$HEAD . "old\r--- t\r * Origin: o (2:1/1)\rnew\rSEEN-BY: 1/1\r"]], [q{AddLine('new')}, "old\r", "new\rold\r"],
    [q{AddLine('new', 0)}, "old\r", ["new\r$HEAD" . "old\r$TAIL"]], [q{AddLine('list.', 2)}, "x\ry\r", "x\ra\rb Bob\ry\r"],
    [q{AddLine('.')}, "x\r", ".\rx\r"], [q{AddHeader('note', 2)}, "x\ry\r", "x\rDear Ann\rfirst a\rb Bob last\r100% sure 5%\ry\r"],
    [q{AddHeader('none')}, "x\r", "x\r"], [q{AddIntl()}, "x\r", "x\r"],
    [q{KillKludge()}, "x\r", ["x\r--- t\r * Origin: o (2:1/1)\r"]], [q{KillKludge('@KLUDGE MSGID: PID:')}, "x\r", ["\x01INTL 2:1/1 2:1/1\rx\r$TAIL"]],
    [q{KillKludge('~@KLUDGE msg')}, "x\r", ["\x01INTL 2:1/1 2:1/1\r\x01PID: p\rx\r$TAIL"]], [q{KillKludge('! @ k MSGID:')}, "x\r", ["\x01MSGID: 2:1/1 1\rx\r--- t\r * Origin: o (2:1/1)\r"]],
    [q{KillKludge('IDS')}, "x\r", ["\x01INTL 2:1/1 2:1/1\rx\r$TAIL"]], [q{KillKludge('RXIDS')}, "x\r", ["\x01INTL 2:1/1 2:1/1\rx\r$TAIL"]],
    [q{KillKludge('@K SEEN-BY:')}, "x\r", [$HEAD . "x\r--- t\r * Origin: o (2:1/1)\r"]], [q{KillKludge('@K SEEN-BY')}, "x\r", "x\r"],
    [q{SubstText('old line', 'new')}, "an old line\rold line\r", "an old line\rnew\r", 1], [q{SubstText('~old', '"n w"')}, "OLD\ran old one old\r", "OLD\ran n w one old\r", 1],
    [q{SubstText('+~z', 'b')}, "zXz\r\ntZil Z\r", "bXb\r\ntZil Z\r", 1], [q{SubstText('~+@x', 'y')}, "a\@x\@xb\r", "ayyb\r", 1],
    [q{SubstText('~+z', 'b')}, "zXZ\r", "bXZ\r", 1], [q{SubstText('~""', 'x')}, "abc\r", "abc\r", 0],
    [q{SubstText('+~PAIRS')}, "one two three\r", "eins zwei \r", 1], [q{SubstText("+RX")}, "v1 q22 v3\r", "NN q22 NN\r", 1],
    [q{SubstText('~b', 'c' x 300)}, "abc\r", 'a' . 'c' x 301 . "\r", 1], [q{SubstText('~+J', 'MM')}, "$LONG\r", 'M' x 1200 . "\r", 1],
) {
    my ($script, $body, $expected, $result) = @$case;
    my $s = edit("$HEAD$body$TAIL", "out($script)", from => 'Bob', to => 'Ann');
    my $r = $s->run;
    $r->ended_well($script);
    my $whole = ref $expected ? $expected->[0] : "$HEAD$expected$TAIL";
    my $got = $s->msg('NETMAIL', 1)->{body};
    is($got =~ s/\Q$OURS\E$//r, $whole, "$script: text");
    is_deeply($r->said, [[$result]], "$script: result");
}

for my $script (q{DeleteLine('-n x')}, q{DeleteLine('-s')}, q{DeleteLine('~@')}, q{DeleteLine('NOBLOCK')}, q{AddLine('a', 'x')}, q{KillKludge('@@a b')},
    q{KillKludge('@a')}, q{KillKludge('NOBLOCK')}, q{SubstText('NOBLOCK')}, q{AddHeader()}, q{SubstText()}) {
    my $s = edit("$HEAD$TAIL", $script);
    $s->run->stopped(qr/perl_/, "$script stops the run");
    is($s->msg('NETMAIL', 1)->{body}, "$HEAD$TAIL$OURS", "$script: nothing changed");
}

{    # A message without INTL gets one; it goes to the base with another change.
    my $s = edit("Hi\r", q{AddIntl(); AddLine('x'); AddIntl()}, orig => '999/7', dest => '5/6');
    $s->run->log_like(qr/^   INTL added/);
    like($s->msg('NETMAIL', 1)->{body}, qr/^\x01INTL 2:\d+\/\d+ 2:\d+\/\d+\rx\rHi\r/, 'AddIntl');
}

# Subjects of attaches: (subject, paths), subject afterwards, result; further mails.
for my $case (
    ['C:\\in\\file.zip', '@path %%D%%empty %%D%%in', ['in/file.zip'], 1], ['c:\\in\\none.zip', 'DIRS', ['none.zip'], 0], ['/x/FILE.zip none', '@p %%D%%in', ['in/FILE.zip none'], 0],
    ['x:y.zip', '@path /no/such', ['x:y.zip'], 0], ['a.zip b.zip c.zip', 'DIRS', ['in/a.zip', 'in/b.zip', 'in/c.zip'], 1, 30], ['..', '@path %%D%%in', ['..'], 0], ['/x/', 'DIRS', ['/x/'], 0],
) {
    my ($subject, $paths, $expected, $result, $deep) = @$case;
    my $s = scenario(areas => {NETMAIL => [{subject => $subject, text => "Hi\r$OURS", attr => 0x11}]});
    my $deeper = $deep ? 'd' x $deep . '/' : '';
    my $top = $s->path($deeper || '.');
    mkdir $top if $deep;
    mkdir "$top/in"; mkdir "$top/empty";
    $s->spew("$top/in/$_", '') for qw(file.zip a.zip b.zip c.zip);
    $s->spew('quelmo.cfg', $Quelmo::Test::BASE_CONFIG . "DATA PATH DIRS\n${deeper}empty\n${deeper}in\n#END#\nFIDOAREA NETMAIL NETMAIL\n");
    my $r = $s->run(script => qq{SetGlobalVar('D', '$deeper'); Scan('NETMAIL'); ReadMsg(); out(CheckPath('$paths'))});
    my @found = map { $s->msg('NETMAIL', $_)->{subject} } 1 .. scalar grep { /msg/ } $s->files('NETMAIL');
    is_deeply([\@found, $r->said], [[map { /^in/ ? $deeper . $_ : $_ } @$expected], [[$result]]], "CheckPath: $subject");
    is($s->msg('NETMAIL', 2)->{attr}, 0x11, 'a further mail is an attach too') if @found > 1;
}
done_testing;
