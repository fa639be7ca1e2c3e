# toss.pl opens the bundles of the inbound and moves the mail of their packets to the netmail area:  quelmo toss

use strict;
use warnings;

sub toss {
    Unpack('@path inbound');
    Scan('INBOUND');
    while (ReadMsg()) { Move('NETMAIL') }
}

1;
