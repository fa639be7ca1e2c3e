#!/usr/bin/perl
# list-area.pl DIRECTORY...: one line for each message of a *.MSG area: number, sender, addressee, subject, attributes.

use strict;
use warnings;

my @BITS = ([1, 'Pvt'], [2, 'Crash'], [8, 'Sent'], [0x10, 'File'], [0x20, 'Transit'], [0x80, 'K/S'], [0x100, 'Local'], [0x200, 'Hold']);

# Zone and point stand in the kludges only, net and node in the header.
sub addresses {
    my ($text, $from_net, $from_node, $to_net, $to_node) = @_;
    my ($to_zone, $from_zone) = $text =~ /\x01INTL (\d+):\S+ (\d+):/ ? ($1, $2) : (2, 2);
    my $from_point = $text =~ /\x01FMPT (\d+)/ ? ".$1" : '';
    my $to_point = $text =~ /\x01TOPT (\d+)/ ? ".$1" : '';
    return ("$from_zone:$from_net/$from_node$from_point", "$to_zone:$to_net/$to_node$to_point");
}

for my $directory (@ARGV) {
    opendir my $d, $directory or die "$directory: $!\n";
    my @numbers = sort { $a <=> $b } map { /^(\d+)\.msg$/i ? $1 : () } readdir $d;
    printf "%s: %d message%s\n", $directory =~ s{.*/}{}r, scalar @numbers, @numbers == 1 ? '' : 's';
    for my $n (@numbers) {
        open my $f, '<:raw', "$directory/$n.msg" or next;
        my $bytes = do { local $/; <$f> };
        next if length $bytes < 190;
        my ($from, $to, $subject, @w) = unpack 'Z36 Z36 Z72 x20 v13', $bytes;
        my ($from_address, $to_address) = addresses(substr($bytes, 190), @w[4, 2, 5, 1]);
        my $attributes = join ' ', map { $w[11] & $_->[0] ? $_->[1] : () } @BITS;
        printf "  %3d  %-38s -> %-32s %-38s %s\n", $n, "$from, $from_address", "$to, $to_address", $subject, $attributes;
    }
}
