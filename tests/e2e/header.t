# What a script sees of a message and changes in its header: the Get functions, attributes, FLAGS, date, tear line and
# Origin, macros.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
sub one { my ($text, $script, %o) = @_; return scenario(areas => {NETMAIL => [{text => $text, %o}]}, script => "Scan('NETMAIL'); ReadMsg(); $script") }

{    # Lines of more than one element, kludges in the middle, CR LF, empty lines.
    my $long = 'b' x 600;
    my $kludge = 'K' . 'k' x 1500;
    my $s = one("AREA:X\r\x01$kludge\r\rOne\r\n$long\r--- t\r * Origin: o (2:1/2)\rSEEN-BY: 1/2\r\x01PATH: 1\r\x01Via 2:8/8 x\r$OURS",
        'out($_) for 1; out(GetText()); out(GetKludges()); out(GetVias()); out(GetMsg()); out(GetRawMsg());');
    my $via = $OURS =~ s/^\x01|\r$//gr;
    my (undef, @said) = @{$s->run->said};
    is_deeply($said[0], ['AREA:X', '', 'One', $long, '--- t', ' * Origin: o (2:1/2)'], 'GetText');
    is_deeply($said[1], [substr($kludge, 0, 1023), 'SEEN-BY: 1/2', 'PATH: 1', 'Via 2:8/8 x', $via], 'GetKludges');
    is_deeply($said[2], ['2:8/8 x', $via =~ s/^Via //r], 'GetVias');
    my @pieces = ('AREA:X', "\x01" . substr($kludge, 0, 254), map({ substr $kludge, 254 + 255 * $_, 255 } 0 .. 4), '', 'One',
        map({ substr $long, 255 * $_, 255 } 0 .. 2), '--- t', ' * Origin: o (2:1/2)', 'SEEN-BY: 1/2', "\x01PATH: 1", "\x01Via 2:8/8 x", "\x01$via");
    is_deeply($said[4], \@pieces, 'GetRawMsg');
    is_deeply($said[3], [map { s/^(\x01|SEEN)/'@' . ($1 eq 'SEEN' ? 'EEN' : '')/er } @pieces], 'GetMsg');
}

{    # The header functions; all of them without a message, in an area and outside.
    my $all = q{out(GetHdr()); out($_->()) for \&GetTo, \&GetFrom, \&GetSubject, \&GetTime, \&GetRouting, \&GetAttribute, \&GetMsg, \&GetKludges, \&GetVias;};
    my $s = one("\x01FMPT 7\rHi\r$OURS", "$all Kill(); $all", from => 'Bob', to => 'Ann', subject => '', attr => 0xffff);
    my @said = @{$s->run->said};
    my $bits = 'AUDIT CRASH FILE HOLD INTRANSIT ISRR KILLSENT LOCAL ORPHAN PRIVATE RECEIVED REQUEST RES1 RRQ SENT UPDATE';
    is_deeply($said[0], ['Bob', '2:999/1.7', 'Ann', '2:999/100', '', '01 May 24  08:00:00', "$bits  LASTVIA SEEN"], 'GetHdr');
    is_deeply([map { $_->[0] } @said[1 .. 6]], ['2:999/100 Ann', '2:999/1.7 Bob', '', '01 May 24  08:00:00', '2:999/100', "$bits LASTVIA SEEN"], 'others');
    is_deeply([splice @said, 10], [[undef], [''], [''], [''], [''], [''], [undef], [undef], [undef], [undef]], 'without a message');
}

# SetAttribute: attributes ahead, FLAGS ahead, words, attributes and FLAGS line afterwards (undef: the run stops).
for my $case (
    [0, '', '@ PRIVATE crash', 3, ''], [3, '', '@attr !private', 2, ''], [0x101, '', '@A !LOCAL HOLD', 0x201, ''], [0, '', '@attribute DIR', 0, 'DIR'],
    [0, 'DIR XYZ', '@ ZON', 0, 'DIR ZON'], [0, 'DIR ZON', '@ !DIR !ZON', 0, ''], [0, 'DIR', '@ IMM K/S NPD', 0, 'DIR IMM K/S NPD'],
    [0, '', 'WORDS', 0x8002, 'DIR'], [3, 'DIR', '!words', 1, 'KFS'], [0, '', '@ USER1 !Intl', 0, ''], [0, 'XYZ', '@ USER1', 0, 'XYZ'],
    [1, '', '@ FOO', undef], [1, '', '@attributes PRIVATE', undef], [1, '', '@', undef], [1, '', 'NOBLOCK', undef], [1, '', '', undef], [1, '', '@a clear', undef],
    [1, '', '@ PRIVATE FOO', undef],
) {
    my ($attr, $flags, $words, $new, $line) = @$case;
    my $flags_line = $flags ? "\x01FLAGS $flags\r" : '';
    my $s = scenario(
        areas => {NETMAIL => [{attr => $attr, text => "\x01INTL 2:1/1 2:1/1\r\x01TOPT 1\r$flags_line\x01PID: x\rHi\r$OURS"}]},
        config => "DATA ATTRIBUTE WORDS\nCRASH update\nDIR !KFS\n#END#\n", script => "Scan('NETMAIL'); ReadMsg(); SetAttribute('$words'); out(1)",
    );
    my $r = $s->run;
    my $m = $s->msg('NETMAIL', 1);
    if (defined $new) {
        is($m->{attr}, $new, "'$words' on $attr $flags");
        my $expected = "\x01INTL 2:1/1 2:1/1\r\x01TOPT 1\r" . ($line ? "\x01FLAGS $line\r" : '') . "\x01PID: x\rHi\r$OURS";
        is($m->{body}, $expected, "'$words': FLAGS line");
    }
    else {
        $r->stopped(qr/SetAttribute/, "'$words' stops the run");
        is_deeply([$m->{attr}, $r->said], [$attr, []], "'$words': nothing changed");
    }
}

{    # Neutralised lines; a new date; a text without its body.
    my $text = "\x01PID: x\r\x01XX y\r\x01FLAGS DIR\rHi\r--- t\r---\r * Origin: o (2:1/2)\rSEEN-BY: 1/2\r\x01Via 2:8/8 x\r$OURS";
    my $ours = substr $OURS, 1;
    my %expected = (
        q{InvalideTearOrig(); SetAttribute('@ AUDIT')} => "\x01PID: x\r\x01XX y\r\x01FLAGS DIR\rHi\r-+- t\r-+-\r + Origin: o (2:1/2)\rSEEN-BY: 1/2\r\x01Via 2:8/8 x\r$OURS",
        'InvalideTearOrig()' => $text,
        'ZapText()' => "\x01PID: x\r\x01XX y\r\x01FLAGS DIR\rSEEN-BY: 1/2\r\x01Via 2:8/8 x\r$OURS",
        q{SetAttribute('@ Invalidvias')} => "\x01PID: x\r\x01XX y\r\x01FLAGS DIR\rHi\r--- t\r---\r * Origin: o (2:1/2)\rSEEN-BY: 1/2\r\@Via 2:8/8 x\r\@$ours",
        q{SetAttribute('@ Invkludges')} => "\@PID: x\r\@XX y\r\@FLAGS DIR\rHi\r--- t\r---\r * Origin: o (2:1/2)\r\@EEN-BY: 1/2\r\x01Via 2:8/8 x\r$OURS",
    );
    for my $call (sort keys %expected) {
        my $s = one($text, $call);
        $s->run->ended_well($call);
        is($s->msg('NETMAIL', 1)->{body}, $expected{$call}, $call);
    }
    my $s = one("Hi\r$OURS", 'SetMessageTime("x"); out(GetTime()); SetMessageTime(); out(GetTime())', date => 'Fri 26 Mar 99 12:05');
    my ($old, $new) = map { $_->[0] } @{$s->run->said};
    is($old, '26 Mar 99  12:05:00', 'SetMessageTime with an argument writes the time of the message');
    like($new, qr/^\d\d [A-Z][a-z]{2} \d\d  \d\d:\d\d:\d\d$/, 'without one, the time of now');
    is($s->msg('NETMAIL', 1)->{date}, $new, 'on disk too');
}

# Macros in an option (which may grow, and looks again at what it found), and in a select string (255 bytes).
{
    my $config = "DATA MACRO m\nGREETING Hello %TONAME%\nSELF %SELF%\nPING %PONG%\nPONG %PING%\nSYSOP The Sysop\n#END#\n";
    my @cases = (
        ['%FROM%', '2:999/1'], ['%%FROM%%', '2:999/1'], ['%fromname% to %ToName%', 'Bob to Ann'], ['%TO% %OLDTO%', '2:5/6 2:999/100'],
        ['%INTLTO% %OLDINTLTO%', '2:5/6 2:999/100'], ['%LINECOUNT%', '2'], ['%MSGIDFROM%', '2:999/1 ab'], ['%ROUTETO%', '2:999/100'],
        ['%FROMDOMAIN%', 'testnet'], ['%SYSTEM%', '2:999/100'], ['%PROGRAM%', 'quelmo 1.02/w32 19-01-01'], ['%%TZ%%', '+0'], ['%TZ%', 'UTC'], ['100%', '100%'],
        ['50% and 60%', '50% and 60%'], ['%%', '%%'], ['%', '%'], ['%NOSUCH%', '%NOSUCH%'], ['%GREETING%!', 'Hello Ann!'],
        ['%SYSOP%', 'The Sysop'], ['%COLOUR%', 'red 2:999/1'], ['%SELF%', '%SELF%'], ['%TESTENV%', 'from env'], ['%%TESTENV%%', '%%TESTENV%%'],
    );
    my $s = scenario(
        areas => {NETMAIL => [{text => "\x01INTL 2:999/100 2:999/1\r\x01MSGID: 2:999/1 ab\rHi\rHo\r$OURS", from => 'Bob', to => 'Ann', attr => 1}]},
        config => $config, script => q{
            SetGlobalVar('colour', 'red %FROM%');
            Scan('NETMAIL'); ReadMsg(); ChangeTo('@ADDRESS 2:5/6');
            for my $text (split /\|/, $ENV{TEXTS}) { ChangeMail("-s \@$text"); out(GetSubject(), Select("\@SUBJECT $text")) }
        },
    );
    my $r = $s->run(env => {TEXTS => join('|', map { $_->[0] } @cases), TESTENV => 'from env'});
    $r->ended_well;
    is_deeply($r->said->[$_], [$cases[$_][1], 1], "macros: $cases[$_][0]") for 0 .. $#cases;
}
done_testing;
