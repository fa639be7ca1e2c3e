#!/usr/bin/perl
# compare-mail.pl BEFORE AFTER: holds the messages of two *.MSG areas against each other, in their order: names, subject, date, and
# every byte of the text but the Via lines, which each system on the way adds.

use strict;
use warnings;

sub messages {
    my ($directory) = @_;
    return map {
        open my $f, '<:raw', $_ or die "$_: $!\n";
        my $bytes = do { local $/; <$f> };
        my $text = substr($bytes, 190) =~ s/\x01Via [^\r]*\r//gr;
        [unpack('Z36 Z36 Z72 Z20', $bytes), $text];
    } sort { ($a =~ /(\d+)\.msg$/)[0] <=> ($b =~ /(\d+)\.msg$/)[0] } glob "$directory/*.msg";
}

die "usage: compare-mail.pl BEFORE AFTER\n" if @ARGV != 2;
my ($before, $after) = map { [messages($_)] } @ARGV;
my $bytes = 0;
for my $i (0 .. ($#$before > $#$after ? $#$before : $#$after)) {
    for my $field (0 .. 4) {
        my ($old, $new) = map { $_->[$i] ? $_->[$i][$field] : 'no message' } $before, $after;
        next if $old eq $new;
        s/[^ -~]/./g for $old, $new;
        die "message $i differs: $old | $new\n";
    }
    $bytes += length $before->[$i][4];
}
printf "%d messages, %d bytes of text: all the same, byte for byte\n", scalar @$before, $bytes;
