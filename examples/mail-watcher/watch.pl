# watch.pl archives old netmail and answers it. Run it with:  quelmo watch

use strict;
use warnings;

sub watch {
    my %answered;
    Scan('NETMAIL');
    while (ReadMsg()) {
        next unless SelectTo('TOOLONG');
        my $answer = !Select('DONE') && !Select('~ROBOTS');    # SelectFrom or SelectTo: either of the two
        answer() if $answer && !$answered{GetFrom()}++;        # one letter for each sender and run is enough
        Move('ARCHIVE');
    }
    Log(0, 'answered: ' . join ', ', sort keys %answered) if %answered;
}

# A letter to the sender of the message in memory. It lies in NETMAIL and takes the way of all mail; this scan doesn't
# come across it, and the next ones pass it over as it is new.
sub answer {
    # Macros in options are expanded, those in foreign texts too: without percent signs there are none.
    (my $subject = GetSubject()) =~ tr/%/#/;
    CreateMail('NETMAIL', '@' . GetFrom(), '-f @Mail watcher', "-s \@Unread: $subject", '-h unread', '-r @mail watcher');
}

1;
