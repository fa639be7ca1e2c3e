#!/usr/bin/perl
# sample-mail.pl DIRECTORY: writes a netmail area of a few dozen messages for 2:999/100 and its neighbours, all
# made up, dated within the last weeks (and one long ago).

use strict;
use warnings;
use POSIX qw(strftime);

my ($directory) = @ARGV;
die "usage: sample-mail.pl DIRECTORY\n" if !defined $directory || !-d $directory;

my %BIT = (Private => 1, Crash => 2, File => 0x10, KillSent => 0x80, Local => 0x100);
my $HOP = "\x01Via %s \@20240501.101500.UTC sample 1.0\r";

# from name, from address, to name, to address, subject, days old, what else: attributes, via => [addresses], lines, text
my @MAIL = (
    ['Carl Cole', '2:999/5', 'Sysop', '2:999/100', 'Hello there', 1],
    ['Dora Dean', '2:5020/100', 'Ann Archer', '2:999/100', 'Greetings from afar', 2, via => ['2:5020/100', '2:999/1']],
    ['Carl Cole', '2:999/5.3', 'Ben Baker', '2:999/100', 'From a point', 2],
    ['Ed Ellis', '1:123/4', 'Sysop', '2:999/100', 'From the other zone', 5, via => ['1:123/4', '2:999/1']],
    ['Carl Cole', '2:999/5', 'Ann Archer', '2:999/100.1', 'To our first point', 1],
    ['Kim King', '77:5/6', 'Ann Archer', '2:999/100.1', 'All characters of a code page', 2, text => join('', map { chr } 0x20 .. 0xFF) . "\r"],
    ['Ned North', '2:5020/9', 'Ann Archer', '2:999/100.1', 'A very long line', 2, text => 'words without end ' x 200 . "\r\r\r--- none\r"],
    ['Ned North', '2:5020/9', 'Ann Archer', '2:999/100.1', 'A long letter to a point', 3, lines => 400],
    ['Dora Dean', '2:5020/100', 'Point Two', '2:999/100.2', 'To our second point', 3],
    ['Carl Cole', '2:999/5', 'Ghost', '2:999/100.77', 'To a point that nobody has', 1],
    ['Carl Cole', '2:999/5', 'Nobody Knows', '2:999/100', 'To a user that nobody knows', 1],
    ['Ed Ellis', '1:123/4', 'Frank Finn', '2:999/100', 'Is Frank still with you?', 4],
    ['Ann Archer', '2:999/100', 'Carl Cole', '2:999/5', 'Re: Hello there', 0, attr => ['Local']],
    ['Point Two', '2:999/100.2', 'Gus Gray', '2:999/200', 'Straight away, please', 0, attr => ['Crash']],
    ['Point Two', '2:999/100.2', 'Hal Hart', '2:999/201.4', 'By way of 200', 1],
    ['Ben Baker', '2:999/100', 'Dora Dean', '2:5020/100', 'Re: Greetings', 1, attr => ['Local', 'KillSent']],
    ['Ann Archer', '2:999/100.1', 'Ed Ellis', '1:123/4', 'Across the ocean', 1],
    ['Point Two', '2:999/100.2', 'Ida Ivory', '3:640/321', 'Down under', 2],
    ['Sysop', '77:1/100', 'Jim Jones', '77:5/6', 'Another net', 1],
    ['Kim King', '77:5/6', 'Sysop', '77:1/100', 'Re: Another net', 1],
    ['Dora Dean', '2:5020/100', 'Ben Baker', '2:999/100', 'Found this in a drawer', 400],
    ['Carl Cole', '2:999/5', 'Gus Gray', '2:999/200', 'Written last year', 300],
    ['Carl Cole', '2:999/5', 'Sysop', '2:999/100', 'C:\FILES\LETTER.ZIP', 1, attr => ['File']],
    ['Ann Archer', '2:999/100.1', 'Gus Gray', '2:999/200', 'photo.jpg', 1, attr => ['File']],
    ['Lee Long', '2:5020/7', 'Max Moor', '2:999/50', 'Round and round', 6,
        via => ['2:5020/7', '2:999/100@testnet', '2:999/1', '2:999/100@testnet', '2:999/1']],
    ['Lee Long', '2:5020/7', 'Max Moor', '2:999/50', 'Straight through', 6, via => ['2:5020/7', '2:999/1']],
    ['Ned North', '2:5020/9', 'Sysop', '2:999/100', 'A long letter', 3, lines => 40],
);

my $n = 0;
for my $mail (@MAIL) {
    my ($from, $from_address, $to, $to_address, $subject, $days, %more) = @$mail;
    my $attr = 1;
    $attr |= $BIT{$_} for @{$more{attr} // []};
    my $date = strftime '%d %b %y  %H:%M:%S', localtime(time - 86400 * $days - 60);
    my ($fz, $fn, $ff, $fp) = "$from_address.0" =~ m{(\d+):(\d+)/(\d+)\.(\d+)};
    my ($tz, $tn, $tf, $tp) = "$to_address.0" =~ m{(\d+):(\d+)/(\d+)\.(\d+)};
    my $text = "\x01INTL $tz:$tn/$tf $fz:$fn/$ff\r" . ($fp ? "\x01FMPT $fp\r" : '') . ($tp ? "\x01TOPT $tp\r" : '');
    $text .= sprintf "\x01MSGID: %s %08x\r", $from_address, 0x66000000 + $n;
    $text .= "Hello $to,\r\r";
    $text .= $more{text} // '';
    $text .= "this is line $_ of a letter that $from wrote.\r" for 1 .. $more{lines} // 2;
    $text .= "\rRegards, $from\r";
    $text .= sprintf $HOP, $_ for @{$more{via} // []};
    my $file = "$directory/" . ++$n . '.msg';
    open my $out, '>:raw', $file or die "$file: $!\n";
    print {$out} pack('a36 a36 a72 a20 v13', $from, $to, $subject, $date, 0, $tf, $ff, 0, $fn, $tn, 0, 0, 0, 0, 0, $attr, 0), $text, "\0";
    close $out or die "$file: $!\n";
}
