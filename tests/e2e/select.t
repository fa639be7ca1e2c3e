# The questions that a script asks of a message, and the routing that it gets.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
my $BLOCKS = <<'EOT';
DATA ADDRESS MINE
2:999/100
2:999/200.*
#END#
DATA ADDRESS WORLD
*:*/*.*
#END#
DATA NAME ROBOTS
AreaFix
'Big Brother'
#END#
USEREGEXP YES
RXIGNORECASE ON
DATA NAME RX
^are.*x$
#END#
RXIGNORECASE OFF
DATA SUBJECT RXCASE
^Hello
#END#
USEREGEXP NO
DATA ATTRIBUTE PRIVLOC
PRIVATE !LOCAL
CRASH
#END#
DATA KLUDGE KL
MSGID: !PID:
SEEN-BY:
#END#
DATA ECHONAME ECHOES
TEST.AREA
#END#
DATA MESSAGEAGE OLDER
10000 2:*/*
#END#
DATA MESSAGELENGTH BIG
1k
#END#
DATA PATH SOMEPATH
..
#END#
DATA ROUTING ROUTES
CRASH 2:5020/1 2:5020/*.*
!CRASH HOLD DIR 2:5020/2 2:*/* 2:999/100
2:*/*.0 2:50/*.*
*:*/* 3:*/*.*
NORMAL 9:9/9 3:1/1
#END#
EOT

# A message each: fields, then the answers to select strings. F: and T: ask one side only.
my @MESSAGES = (
    [{from => 'AreaFix', to => 'Ann', subject => 'Hello', orig => '999/100', dest => '5020/100', attr => 1,
        text => "\x01TOPT 5\r\x01MSGID: 2:999/100 1\rsome Text\r$OURS"},
        MINE => 1, 'F:MINE' => 1, 'T:MINE' => 0, 'F:!MINE' => 0, 'T:!MINE' => 1, '!MINE' => 1, 'mine' => 1, ' MINE ' => 1, WORLD => 1, '!WORLD' => 0,
        ROBOTS => 1, 'T:ROBOTS' => 0, 'T:@NAME Ann' => 1, 'T:@NAME ann' => 0, 'T:~@NAME n' => 1, 'T:@~NAME aNN' => 1, '@NAME "Ann"' => 1, 'F:RX' => 1, 'T:RX' => 0,
        RXCASE => 1, '@SUBJECT hello' => 0, '~@SUBJECT hello' => 1, 'T:@ADDRESS 2:5020/100' => 0, 'T:~@ADDRESS 2:5020/100' => 1,
        'T:@ADDRESS 2:5020/100.5' => 1, 'T:@ADDRESS 2:5020/*.*' => 1, 'T:@ADDRESS *:5020/*' => 0, PRIVLOC => 1, '@ATTRIBUTE PRIVATE LOCAL' => 0,
        '@ATTRIBUTE LASTVIA !CRASH' => 1, KL => 1, '@KLUDGE MSGID:' => 1, '@KLUDGE MSGID' => 0, '~@KLUDGE msg' => 1, '@KLUDGE !PID: !TID:' => 1,
        '@TEXTSTRING some Text' => 1, '@TEXTSTRING some' => 0, '~@TEXTSTRING TEXT' => 1, ECHOES => 0, '!ECHOES' => 1, OLDER => 0, 'F:OLDER' => 0,
        '@MESSAGEAGE 1' => 1, BIG => 0, '@MESSAGELENGTH 20' => 1, SOMEPATH => 0, '!SOMEPATH' => 1, '@ADDRESSNAME 2:999/100 AreaFix' => 1,
        'F:@PASSWORDNAME hello areafix' => 1, 'F:@PASSWORDADDRESS HELLO 2:999/100' => 1, 'F:@PASSWORDADDRESS other 2:999/100' => 0,
        'F:~@PASSWORDADDRESS other 2:999/100' => 1, '@DATE *.*.*' => 1, '@DAYOFWEEK Sun Mon Tue Wed Thu Fri Sat' => 1, '@FILES route.pl !nothing' => 1,
        '@FILES nothing' => 0, '@FILEAGE 0 route.pl' => -1],
    [{from => 'Big Brother', to => 'areafix', subject => 'hello', orig => '999/200', dest => '999/100', date => '01 Jan 90  00:00:00', attr => 0x102,
        text => "AREA:test.area\r\x01FMPT 3\r\x01PID: x\rSEEN-BY: 1/2\r" . 'x' x 2000 . "\r$OURS"},
        'F:MINE' => 1, 'T:MINE' => 1, 'F:ROBOTS' => 1, 'T:ROBOTS' => 0, 'T:RX' => 1, RXCASE => 0, PRIVLOC => 1, KL => 1, '@KLUDGE SEEN-BY:' => 1, 'T:OLDER' => 1,
        'F:OLDER' => 0, BIG => 1, '@ECHONAME test.area' => 1, ECHOES => 0, '~ECHOES' => 1],
    [{from => 'x', to => 'y', orig => '7/7', dest => '8/8', text => ''}, MINE => 0, WORLD => 1, '@TEXTSTRING x' => 0, '@KLUDGE !MSGID:' => 1, 'F:@NAME x' => 1],
);
{
    my $s = scenario(areas => {NETMAIL => [map { $_->[0] } @MESSAGES]}, config => $BLOCKS, script => q{
        Scan('NETMAIL');
        while (ReadMsg()) {
            my $n = (split / /, (GetHdr())[5])[0];
            open my $f, '<', 'asked' . ++$i or die; chomp(my @asked = <$f>);
            for (@asked) { out($_, s/^F:// ? SelectFrom($_) : s/^T:// ? SelectTo($_) : Select($_)) }
        }
        out(map { Select($_) } '!MINE', 'NOSUCH', '@DATE *.*.*', '!@DATE 31.2.*', '@FILES route.pl');
    });
    for my $i (0 .. $#MESSAGES) {
        my (undef, %answers) = @{$MESSAGES[$i]};
        $s->spew('asked' . ($i + 1), join "\n", sort keys %answers);
    }
    my $r = $s->run;
    $r->ended_well;
    my @said = @{$r->said};
    for my $m (@MESSAGES) {
        my (undef, %answers) = @$m;
        for my $question (sort keys %answers) {
            my $said = shift @said;
            next if $answers{$question} < 0;    # depends on the second of the clock
            is($said->[1], $answers{$question}, "$m->[0]{from}: $question");
        }
    }
    is_deeply($said[0], [0, 0, 1, 1, 1], 'without a message');
}

# Faults of a select string stop the run.
for my $case (
    ['', qr/argument missing: `/], ['!', qr/argument missing: `/], ['!!MINE', qr/syntax: `/], ['~ ~MINE', qr/syntax: `/], ['@NAME', qr/argument missing: `/],
    ['@NODELIST x', qr/no direct data select possible with this token:`NODELIST'/], ['@FOO x', qr/incorrect data type `FOO' in string: `/],
    ['@' . 'Z' x 300 . ' x', qr/incorrect data type|argument missing/], ['NOSUCH', qr/block undefined : `NOSUCH'/], ['MINE more', qr/block undefined : `MINE more'/],
    ['@ADDRESS foo', qr/incorrect address in `SelectAddr': `/], ['@MESSAGEAGE x', qr/incorrect age : `/], ['@DATE 32.1.*', qr/incorrect date: `/],
) {
    my ($string, $pattern) = @$case;
    for my $function ('Select', 'SelectTo') {
        my $s = scenario(areas => {NETMAIL => [{text => "Hi\r"}]}, config => $BLOCKS, script => "Scan('NETMAIL'); ReadMsg(); $function('$string'); out(1)");
        my $r = $s->run;
        $r->stopped($pattern, "$function of '" . substr($string, 0, 20) . '\' stops the run');
        is_deeply($r->said, [], 'at once');
    }
}

# Routing: addressee (net/node, point), expected route and flavours. The first rule that covers the addressee counts.
{
    my @cases = (
        ['2:5020/7', '2:5020/1', 'CRASH NORMAL'], ['2:5020/7.3', '2:5020/1', 'CRASH NORMAL'], ['2:999/100', '2:5020/2', 'DIR HOLD'], ['2:999/100.1', '2:999/100.1', 'NORMAL'],
        ['2:50/4.9', '2:50/4', 'NORMAL'], ['3:1/1', '3:1/1', 'NORMAL'], ['3:1/1.7', '3:1/1', 'NORMAL'], ['4:1/1.7', '4:1/1.7', 'NORMAL'],
    );
    my @messages = map {
        my ($z, $n, $f, $p) = "$_->[0].0" =~ m{(\d+):(\d+)/(\d+)\.(\d+)};
        {dest => "$n/$f", attr => $_->[2] =~ /HOLD/ ? 2 : 0, text => "\x01INTL $z:$n/$f 2:999/1\r\x01TOPT $p\rHi\r$OURS"}
    } @cases;
    my $s = scenario(areas => {NETMAIL => \@messages}, config => $BLOCKS, script => q{
        Scan('NETMAIL'); while (ReadMsg()) { SetRouting('routes'); SetFlavor(''); out(GetRouting()) }
    });
    my $r = $s->run(argv => ['-d', 2, 'route']);
    my @flavours = map { /^   Changed Flavour to (.*)/ ? $1 : () } @{$r->log};
    is_deeply([$r->said->[$_][0], $flavours[$_]], [@{$cases[$_]}[1, 2]], "routing of $cases[$_][0]") for 0 .. $#cases;
    is(scalar(grep { /^setrouting: no routing found, do direct routing to/ } @{$r->log}), 2, 'uncovered addresses go direct');
    is_deeply([map { $s->slurp("NETMAIL/$_.msg") } 1 .. @messages], [map { pack_msg(%$_) } @messages], 'routing alone writes nothing');
}
for my $case ([q{SetRouting('NOSUCH')}, qr/block not defined: `NOSUCH'/], [q{SetFlavor('FOO')}, qr/perl_SetFlavor unknown flavor: `FOO'/],
    [q{SetRouting()}, qr/perl_SetRouting\(\) argument count \(need 1, exist 0\)/], [q{RouteTo('nowhere')}, qr/perl_RouteTo\(\) no such <Data Address> : `/]) {
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r"}]}, script => "Scan('NETMAIL'); ReadMsg(); $case->[0]; out(1)");
    $s->run->stopped($case->[1], "$case->[0] stops the run");
}
{    # RouteTo, SetFlavor and the loop flag.
    my $s = scenario(areas => {NETMAIL => [{dest => '1/1', text => "Hi\r${OURS}\x01Via 2:8/8 x\r$OURS"}]}, config => $BLOCKS, script => q{
        Scan('NETMAIL'); ReadMsg();
        RouteTo('2:8/8.0'); out(GetRouting(), GetAttribute()); RouteTo('MINE'); out(GetRouting(), GetAttribute());
        SetFlavor('crash HOLD'); SetFlavor('!CRASH imm');
    });
    my $r = $s->run;
    is_deeply($r->said, [['2:8/8', ' CHANGED LASTVIA LOOP SEEN ZALOOP'], ['2:999/100', ' CHANGED LASTVIA LOOP SEEN']], 'RouteTo');
    $r->log_like(qr/^   Changed Flavour to HOLD IMM NORMAL$/);
}
done_testing;
