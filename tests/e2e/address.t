# ChangeFrom and ChangeTo: the argument language, and the kludges, Via and Origin that follow an address.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
my $NEW = via_like('2:999/100@testnet');
my $BLOCKS = <<'EOT';
DATA ADDRESS HUB
2:5/6
#END#
DATA ADDRESS POINT3
*:*/*.3
#END#
DATA READDRESSLIST MOVED
2:5020/* 2:1/1
2:*/*.* 2:2/2.2
*:*/*.* 9:9/9
#END#
EOT
my $NET = "\x01INTL 2:999/100 2:5020/100\r\x01FMPT 7\r\x01TOPT 12\r\x01MSGID: 2:5020/100.7 1\rHi\r * Origin: x (FidoNet 2:5020/100.7)\rSEEN-BY: 1/2\r$OURS";

# The sender is 2:5020/100.7, the addressee 2:999/100.12: calls, addresses afterwards.
for my $case (
    [q{ChangeTo('@ADDRESS 2:5/6')}, '2:5020/100.7', '2:5/6'], [q{ChangeTo('@address 2:*/*.*')}, '2:5020/100.7', '2:999/100.12'],
    [q{ChangeTo('~@ADDRESS 2:5/6')}, '2:5020/100.7', '2:5/6.12'], [q{ChangeTo(' ~ @ ADDRESS 2:5/6.9 ')}, '2:5020/100.7', '2:5/6.12'],
    [q{ChangeTo('HUB')}, '2:5020/100.7', '2:5/6'], [q{ChangeTo('~hub')}, '2:5020/100.7', '2:5/6.12'],
    [q{ChangeTo('POINT3')}, '2:5020/100.7', '2:999/100.3'], [q{ChangeFrom('@ADDRESS 3:*/*.*')}, '3:5020/100.7', '2:999/100.12'],
    [q{ChangeFrom('MOVED')}, '2:2/2.2', '2:999/100.12'], [q{ChangeTo('MOVED')}, '2:5020/100.7', '2:2/2.2'],
    [q{ChangeFrom('~@READDRESSLIST 2:5020/*.* 2:1/1.5')}, '2:1/1.7', '2:999/100.12'],
    [q{ChangeFrom('@READDRESSLIST 2:5020/* 2:1/1')}, '2:5020/100.7', '2:999/100.12'],
    [q{ChangeFrom('!@READDRESSLIST 2:5020/* 2:1/1')}, '2:1/1', '2:999/100.12'],
    [q{ChangeFrom('@!READDRESSLIST 2:*/*.* 2:1/1')}, '2:5020/100.7', '2:999/100.12'],
    [q{ChangeFrom('!MOVED')}, '2:1/1', '2:999/100.12'],
) {
    my ($call, $from, $to) = @$case;
    my $s = scenario(areas => {NETMAIL => [{text => $NET, orig => '5020/100', dest => '999/100'}]}, config => $BLOCKS, system => {});
    my $r = $s->run(script => "Scan('NETMAIL'); ReadMsg(); $call; out((GetHdr())[1, 3], GetAttribute())");
    is_deeply([@{$r->said->[0]}[0, 1]], [$from, $to], $call);
    like($r->said->[0][2], qr/CHANGED/, "$call: changed");
    my $m = $s->msg('NETMAIL', 1);
    my ($fz, $fn, $ff, $fp) = $from =~ /(\d+)/g;
    my ($tz, $tn, $tf, $tp) = $to =~ /(\d+)/g;
    is_deeply([@$m{qw(orig_net orig_node dest_net dest_node)}], [$fn, $ff, $tn, $tf], "$call: header on disk");
    my $kludges = "\x01INTL $tz:$tn/$tf $fz:$fn/$ff\r" . ($fp ? "\x01FMPT $fp\r" : '') . ($tp ? "\x01TOPT $tp\r" : '');
    like($m->{text}, qr/\A\Q${kludges}\E\x01MSGID: 2:5020\/100\.7 1\rHi\r \* Origin: x \(FidoNet \Q$from\E\)\rSEEN-BY: 1\/2\r$NEW\0\z/, "$call: text on disk");
    $s->run(script => q{Scan('NETMAIL'); ReadMsg(); out((GetHdr())[1, 3])});
}

# Texts that have less, or have it elsewhere: text, call, text afterwards (# stands for our Via).
for my $case (
    ['Hi|#', q{ChangeTo('@ADDRESS 3:5/6.7')}, '!TOPT 7|Hi|#'], ['Hi|#', q{ChangeFrom('@ADDRESS 3:5/6.7'); ChangeTo('@ADDRESS 3:5/6.8')}, '!TOPT 8|!FMPT 7|Hi|#'],
    ['!DOMAIN x|!INTL 2:1/1 2:1/1|!PID: x|Hi|#', q{ChangeTo('@ADDRESS 3:5/6.7')}, '!DOMAIN x|!INTL 3:5/6 2:999/1|!TOPT 7|!PID: x|Hi|#'],
    ['!FMPT 1|!TOPT 2|Hi|#', q{ChangeFrom('@ADDRESS 2:5/6'); ChangeTo('@ADDRESS 2:5/6')}, 'Hi|#'],
    ['!TOPT 2|!FMPT 1|Hi|#', q{ChangeFrom('@ADDRESS 2:5/6'); ChangeTo('@ADDRESS 2:5/6')}, 'Hi|#'],
    ['Hi|!Via 2:8/8 x|#', q{ChangeTo('@ADDRESS 2:5/6')}, 'Hi|!Via 2:8/8 x|#'],
    ['Hi| * Origin: none|#', q{ChangeFrom('@ADDRESS 2:5/6')}, 'Hi| * Origin: none|#'],
    ['Hi| * Origin: x (y)|#', q{ChangeFrom('@ADDRESS 2:5/6')}, 'Hi| * Origin: x (y)|#'],
    ['Hi| * Origin: )2:1/1(|#', q{ChangeFrom('@ADDRESS 2:5/6')}, 'Hi| * Origin: )2:1/1(|#'],
    ['Hi| * Origin: (a) (net 2:1/1.1@fido) end|#', q{ChangeFrom('@ADDRESS 2:5/6')}, 'Hi| * Origin: (a) (net 2:5/6) end|#'],
    ['Hi| * Origin: (2:1/1/1)|#', q{ChangeFrom('@ADDRESS 2:5/6')}, 'Hi| * Origin: (2:1/1/1)|#'],
    ['Hi| * Origin: ' . 'x' x 230 . ' (2:1/1)|#', q{ChangeFrom('@ADDRESS 65000:65000/65000.65000')}, undef],
    ['!INTL 2:1/1', q{ChangeTo('@ADDRESS 2:5/6')}, undef],
) {
    my ($text, $call, $expected) = @$case;
    my $bytes = sub { $_[0] =~ s/!/\x01/gr =~ s/\|/\r/gr =~ s/#/$OURS/r };
    my $s = scenario(areas => {NETMAIL => [{text => $bytes->($text)}]}, script => "Scan('NETMAIL'); ReadMsg(); $call;");
    my $r = $s->run;
    $r->ended_well("$text: ends well");
    my $new = $s->msg('NETMAIL', 1)->{text} =~ s/\0\z//r =~ s/$NEW/$OURS/r;
    is($new, $bytes->($expected), "$text after $call") if defined $expected;
}

{    # An echomail area: MSGID and Origin follow the sender, nothing follows the addressee.
    my $text = "AREA:E\r\x01INTL 2:1/1 2:2/2\r\x01MSGID: 2:999/1 0000000a\r\x01msgid: x\rHi\r--- t\r * Origin: o (2:999/1)\rSEEN-BY: 1/2\r\x01PATH: 1/2\r";
    my $s = scenario(areas => {E => [map { {text => $text} } 1, 2]}, echo => ['E'], config => "TOUCHECHOMAIL NO\n", script => q{
        Scan('E'); ReadMsg(); ChangeFrom('@ADDRESS 2:5/6.7@other'); ReadMsg(); ChangeTo('@ADDRESS 2:5/6.7');
    });
    $s->run->ended_well;
    my ($from, $to) = map { $s->msg('E', $_) } 1, 2;
    my $msgid = qr{\x01MSGID: 2:5/6\.7\@other [0-9a-f]{8}\r};
    like($from->{text}, qr{\AAREA:E\r\x01INTL 2:1/1 2:2/2\r$msgid${msgid}Hi\r--- t\r \* Origin: o \(2:5/6\.7\)\rSEEN-BY: 1/2\r\x01PATH: 1/2\r\0\z}, 'ChangeFrom');
    is($to->{text}, "$text\0", 'ChangeTo');
    is_deeply([@$to{qw(dest_net dest_node)}], [5, 6], 'ChangeTo: header');
}

for my $case (
    [q{ChangeTo('!!x')}, qr/perl_ChangeTo syntax: `/], [q{ChangeTo('~@~x')}, qr/perl_ChangeTo syntax: `/], [q{ChangeTo('')}, qr/perl_ChangeTo empty data argument: `/],
    [q{ChangeFrom('@')}, qr/perl_ChangeFrom\(\) empty data argument: `/], [q{ChangeFrom('@ADDRESS')}, qr/perl_ChangeFrom\(\) incorrect address: `/],
    [q{ChangeFrom('@ADDRESS 1:x/2')}, qr/incorrect address: `1:x\/2' in `/], [q{ChangeFrom('@READDRESSLIST 2:5/6')}, qr/readdress syntax error: `/],
    [q{ChangeFrom('@NAME x')}, qr/incorrect data type: `NAME' in `/], [q{ChangeFrom('NOBLOCK')}, qr/data block not defined: `NOBLOCK'/],
    [q{ChangeFrom()}, qr/perl_ChangeFrom\(\) argument count \(need 1, exist 0\)/], [q{ChangeTo(1, 2)}, qr/perl_ChangeTo argument count \(need 1, exist 2\)/],
) {
    my ($call, $pattern) = @$case;
    my $s = scenario(areas => {NETMAIL => [{text => "Hi\r"}]}, script => "Scan('NETMAIL'); ReadMsg(); $call; out(1)");
    my $r = $s->run;
    $r->stopped($pattern, "$call stops the run");
    is_deeply([@{$s->msg('NETMAIL', 1)}{qw(orig_net orig_node dest_net dest_node)}], [999, 1, 999, 100], "$call: the addresses stay");
}
done_testing;
