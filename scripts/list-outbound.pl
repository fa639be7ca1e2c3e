#!/usr/bin/perl
# list-outbound.pl DIRECTORY: the files of an outbound; what stands in its packets and flow files.

use strict;
use warnings;
use File::Find;

my ($directory) = @ARGV;
die "usage: list-outbound.pl DIRECTORY\n" if !defined $directory;
my @files;
find({no_chdir => 1, wanted => sub { push @files, $_ if -f }}, $directory);
for my $file (sort @files) {
    open my $f, '<:raw', $file or die "$file: $!\n";
    my $bytes = do { local $/; <$f> } // '';
    printf "%s  (%d bytes)\n", $file, length $bytes;
    if ($file =~ /\.[a-z]lo$/) { print map { s/\r?\n$//r =~ s/^/    /r . "\n" } split /^/, $bytes }
    next if $file !~ /\.(?:[a-z]ut|pkt)$/;
    my ($from, $to, $from_net, $to_net, $from_zone, $to_zone, $from_point, $to_point) = unpack 'v2 x16 v2 x22 v4', $bytes;
    $from_net = unpack 'x38 v', $bytes if $from_net == 0xFFFF;
    print "    packet from $from_zone:$from_net/$from.$from_point to $to_zone:$to_net/$to.$to_point\n";
    $bytes = substr $bytes, 58;
    while ($bytes =~ s/^\x02\0(.{12}).{20}([^\0]*)\0([^\0]*)\0([^\0]*)\0([^\0]*)\0//s) {
        my ($node_from, $node_to, $net_from, $net_to) = unpack 'v4', $1;
        printf "    %-28s -> %-28s %-32s %5d bytes\n", "$3, $net_from/$node_from", "$2, $net_to/$node_to", $4, length $5;
    }
}
