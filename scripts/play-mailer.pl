#!/usr/bin/perl
# play-mailer.pl FLOWFILE INBOUND: what a mailer does in a session, without a line: brings the files that a flow file names into
# the other side's inbound, cuts (#) or deletes (^) them here, and removes the flow file.

use strict;
use warnings;
use File::Copy;

my ($flow, $inbound) = @ARGV;
die "usage: play-mailer.pl FLOWFILE INBOUND\n" if !defined $inbound;
open my $lines, '<', $flow or die "$flow: $!\n";
while (<$lines>) {
    s/\s+$//;
    my ($mark, $path) = /^([#^~]?)(.+)/ or next;
    next if $mark eq '~';
    copy($path, "$inbound/" . $path =~ s{.*/}{}r) or die "$path: $!\n";
    print "sent $path\n";
    unlink $path if $mark eq '^';
    truncate $path, 0 if $mark eq '#';
}
unlink $flow;
