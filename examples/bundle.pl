# bundle.pl makes packets of the mail for our points and hands them to the mailer as bundles:  quelmo bundle

use strict;
use warnings;

sub bundle {
    Scan('POINTS');
    while (ReadMsg()) {
        SetRouting('ROUTES');
        Move('PACKETS');
    }
    PackPKT('PACKETS', 'OUT', 'BUNDLES');
}

1;
