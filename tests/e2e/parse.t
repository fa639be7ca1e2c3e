# What reading makes of a message: zones and points, the AKA and its Via line, loops, echomail.

use strict;
use warnings;
use Quelmo::Test;

my $CONFIG = <<'EOT';
DATA SYSTEM OWN
2:999/100 testnet 2 1
2:999/200 testnet 2 3 4 5
77:7/7.7 othernet 77
#END#
EOT
my $SHOW = q{
    Scan('NETMAIL');
    while (ReadMsg()) {
        my @h = GetHdr();
        out(@h[1, 3], GetAttribute(), (GetKludges())[-1], (GetVias())[-1]);
        SetAttribute('@ !Changed');
    }
};

# The header of all is 5020/100 -> 999/100. Each row: name, head of the text, from, to, words that GetAttribute
# has to show (all of them).
my @ADDRESSES = (
    ['nothing', '', '2:5020/100', '2:999/100', ''],
    ['INTL', '!INTL 2:999/100 1:5020/100|', '1:5020/100', '2:999/100', 'INTERZONE INTL'],
    ['INTL in small letters', '!intl 2:999/100 1:5020/100|', '1:5020/100', '2:999/100', 'INTERZONE INTL'],
    ['INTL within a zone', '!INTL 1:999/100 1:5020/100|', '1:5020/100', '1:999/100', 'INTL'],
    ['INTL through a gate', '!INTL 77:1/1 1:5020/100|', '1:5020/100', '1:999/100', 'INTL'],
    ['INTL that says another sender', '!INTL 2:999/100 1:2/3|', '1:5020/100', '2:999/100', 'INTERZONE INTL'],
    ['points', '!FMPT 7|!TOPT 12|', '2:5020/100.7', '2:999/100.12', ''],
    ['later kludges win', '!FMPT 7|!FMPT 8|!TOPT 1|x|!TOPT 2|', '2:5020/100.8', '2:999/100.2', ''],
    ['INTL of one word, MSGID', '!INTL 2:999/100|!MSGID: 5:5020/100 0a|', '5:5020/100', '5:999/100', ''],
    ['MSGID of another node, REPLY to us', '!MSGID: 5:5020/101 0a|!REPLY: 3:999/100 0b|', '3:5020/100', '3:999/100', ''],
    ['REPLY to somebody else', '!REPLY: 3:999/101 0b|', '2:5020/100', '2:999/100', ''],
    ['MSGID with point', '!FMPT 4|!MSGID: 5:5020/100.4@net 0a|', '5:5020/100.4', '5:999/100', ''],
    ['numbers beyond 16 bits', '!INTL 65538:999/100 131074:5020/100|', '2:5020/100', '2:999/100', 'INTL'],
    ['numbers without end', '!INTL 2:' . '9' x 300 . '/100 2:5020/100|', '2:5020/100', '2:999/100', ''],
    ['FLAGS', '!FLAGS zon XYZ DIR|!FLAGS IMM|', '2:5020/100', '2:999/100', 'DIR ZON'],
    ['a second FLAGS behind an empty one', '!FLAGS|!FLAGS IMM|', '2:5020/100', '2:999/100', 'IMM'],
    ['AREA kludge ahead of the body', '!AREA: X|', '2:5020/100', '2:999/100', 'ROUTEDECHO'],
    ['AREA kludge behind a line', 'x|!AREA: X|', '2:5020/100', '2:999/100', ''],
    ['FLAGS word far behind', '!FLAGS ' . 'UNKNOWN ' x 20 . 'DIR|', '2:5020/100', '2:999/100', 'DIR'],
    ['kludges cut short', '!|!INTL|!FMPT|!TOPT|!MSGID:|!REPLY|!Via|!FLAGS|!INTL x y|', '2:5020/100', '2:999/100', ''],
);

sub text { return $_[0] =~ s/!/\x01/gr =~ s/\|/\r/gr }

sub plain_words { return join ' ', sort grep { $_ ne 'CHANGED' } split ' ', $_[0] }

{
    my @messages = map { {orig => '5020/100', dest => '999/100', text => text($_->[1]) . "Body\r"} } @ADDRESSES;
    my $s = scenario(areas => {NETMAIL => \@messages});
    my $r = $s->run(script => $SHOW);
    $r->ended_well;
    for my $i (0 .. $#ADDRESSES) {
        my ($name, undef, $from, $to, $words) = @{$ADDRESSES[$i]};
        my ($f, $t, $w) = @{$r->said->[$i]};
        is_deeply([$f, $t, plain_words($w)], [$from, $to, $words], $name);
    }
    is_deeply([map { $s->slurp("NETMAIL/$_.msg") } 1 .. @messages], [map { pack_msg(%$_) } @messages], '!Changed: nothing written');
}

# The AKA towards the addressee: net and node of the destination, kludges ahead, the Via line that reading adds.
for my $case (
    ['5020/1', '', 1, '2:999/100@testnet'], ['999/300', '', 1, '2:999/100@testnet'], ['999/200', '', 1, '2:999/200@testnet'],
    ['999/200', '!TOPT 5|', 1, '2:999/200@testnet'], ['999/1', '!INTL 1:999/1 2:999/2|', 1, '2:999/100@testnet'],
    ['7/7', '!INTL 77:7/7 2:999/2|', 1, '77:7/7.7@othernet'], ['7/7', '!INTL 5:7/7 2:999/2|', 1, '2:999/200@testnet'],
    ['7/7', '!INTL 6:7/7 2:999/2|', 1, '2:999/100@testnet'], ['999/200', '', 0, '2:999/100@testnet'],
) {
    my ($dest, $head, $has_system, $aka) = @$case;
    my $s = scenario(
        config => $CONFIG, system => {NETMAIL => $has_system ? 'own' : ''}, script => q{ Scan('NETMAIL'); ReadMsg(); ReadMsg() },
        areas => {NETMAIL => [{dest => $dest, orig => '999/2', text => text("${head}Body|!Via 9:9/9 x|SEEN-BY: 1/2|")}]},
    );
    $s->run;
    my $via = via_like($aka);
    like($s->msg('NETMAIL', 1)->{text}, qr/^\Q@{[text("${head}Body|!Via 9:9\/9 x|SEEN-BY: 1\/2|")]}\E$via\0\z/, "$dest $head: Via of $aka");
    my $before = $s->slurp('NETMAIL/1.msg');
    utime 1000, 1000, $s->path('NETMAIL/1.msg');
    $s->run;
    is($s->slurp('NETMAIL/1.msg'), $before, 'no second Via line');
    is((stat $s->path('NETMAIL/1.msg'))[9], 1000, 'and no write');
}

# Loops: Via addresses in order, o for our own; the words that must and must not stand.
my @LOOPS = (
    ['o', 'LASTVIA SEEN', '2:1/1'],
    ['2:8/1 o', 'LASTVIA SEEN', '2:1/1'],
    ['o 2:8/1', 'LOOP SEEN', '2:1/1'],
    ['2:8/1 o 2:8/2 o 2:8/3', 'LOOP LOOP2 SEEN', '2:1/1'],
    ['o 2:8/1 o 2:8/1 o 2:8/1 o 2:8/1 o', 'LASTVIA LOOP LOOP2 SEEN', '2:1/1'],
    ['2:8/1 2:8/2', '', '2:1/1'],
    ['o 2:1/1', 'LOOP SEEN ZALOOP', '2:1/1'],
    ['2:1/1 o', 'LASTVIA SEEN', '2:1/1'],
    ['o no-address-here', 'LASTVIA SEEN', '2:1/1'],
    ['o xSquish/386,2:8/1,at', 'LOOP SEEN', '2:1/1'],
);
{
    my @messages = map {
        my $vias = join '', map { $_ eq 'o' ? via_line('2:999/100@testnet') : "\x01Via $_ \@20240501.101500.UTC x\r" } split / /, $_->[0];
        {dest => '1/1', text => "Body\r$vias"};
    } @LOOPS;
    my $s = scenario(areas => {NETMAIL => \@messages}, script => $SHOW);
    my $r = $s->run;
    is(plain_words($r->said->[$_][2]), $LOOPS[$_][1], "Vias $LOOPS[$_][0]") for 0 .. $#LOOPS;
    like($r->said->[2][4], qr/^2:8\/1 \@/, 'GetVias: as they came, without our new one');
    like($r->said->[2][3], qr/^Via 2:999\/100\@testnet /, 'GetKludges: the new one last');
    unlike($r->said->[0][2], qr/CHANGED/, 'our Via last: not changed');
    like($r->said->[2][2], qr/CHANGED/, 'our Via not last: changed');
}

# Echomail and Via: (TOUCHECHOMAIL, option -e, area marked, AREA line) and whether a Via line is added.
for my $case ([1, 0, 1, 1, 1], [0, 0, 0, 0, 1], [0, 0, 0, 1, 0], [0, 0, 1, 0, 0], [0, 0, 1, 1, 0], [0, 1, 1, 1, 1]) {
    my ($touch, $option, $marked, $line, $expected) = @$case;
    my $text = ($line ? "AREA:TEST\r" : '') . "\x01MSGID: 2:1/1 1\rBody\rSEEN-BY: 1/2\r";
    my $s = scenario(
        config => $touch ? '' : "TOUCHECHOMAIL no\n", areas => {E => [{text => $text}]}, echo => $marked ? ['E'] : [],
        script => q{ Scan('E'); while (ReadMsg()) { out(GetAttribute()) } },
    );
    my $r = $s->run(argv => [$option ? '-e' : (), 'route']);
    is($r->said->[0][0] =~ /ECHOMAIL/ ? 1 : 0, $line, "@$case: the AREA line tells echomail");
    my $has = ($s->msg('E', 1)->{text} =~ via_like('2:999/100@testnet')) ? 1 : 0;
    is($has, $expected, "@$case: Via line");
    is($s->slurp('E/1.msg'), pack_msg(text => $text), "@$case: unchanged") if !$expected;
}

{    # NULL: no body line; a line AREA: counts as one; tear line and Origin don't.
    my %null = ('' => 1, '!PID: x|' => 1, '--- |' => 1, '---|' => 1, ' * Origin: x (1:2/3)|' => 1, 'SEEN-BY: 1/2|' => 1,
        '|' => 0, 'AREA:X|' => 0, '----|' => 0, ' * Origin|' => 0);
    my @texts = sort keys %null;
    my $s = scenario(areas => {NETMAIL => [map { {text => text($_)} } @texts]}, script => $SHOW);
    my $r = $s->run;
    is($r->said->[$_][2] =~ /NULL/ ? 1 : 0, $null{$texts[$_]}, "no body: '$texts[$_]'") for 0 .. $#texts;
}
done_testing;
