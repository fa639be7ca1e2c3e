# route.pl, a netmail router. Run it with:  quelmo -1 NETMAIL route

use strict;
use warnings;

sub route {
    my ($area) = @_;

    # A nodelist in which we don't stand ourselves is damaged, and would make us bounce good mail.
    unless (listed(ExpandMacro('SYSTEM'))) {
        Log(0, 'route: we are not in the nodelist, nothing is routed today');
        return;
    }
    Scan($area || 'NETMAIL');
    while (ReadMsg()) { one_message() }

    DoBinkOutbound('OUT');                # what was moved to OUT goes into the outbound now
}

sub one_message {
    return if SelectTo('HERE');                                  # stays where it is
    return if Select('@ATTRIBUTE FILE');                         # attaches wait for the attach checker
    return put_aside('looped') if Select('LOOPED');

    if (SelectTo('ALLPOINTS')) {
        return give_back('nopoint') unless SelectTo('POINTS');
    }
    elsif (!listed((split / /, GetTo())[0])) {
        return give_back('unlisted');
    }
    send_on();
}

sub send_on {
    # How urgent mail of others is, is for us to say: the table of routes sets the flavour anew.
    SetFlavor('!CRASH !IMM !DIR !HOLD') unless SelectFrom('~HERE');    # ~: our points too
    SetRouting('ROUTES');
    return put_aside('was sent there before') if Select('PINGPONG');
    Move('OUT');
}

# The message in memory becomes an answer to its sender, which quotes it below the template's text.
sub give_back {
    my ($template) = @_;
    my ($sender) = split / /, GetFrom();
    return put_aside('from a robot') if SelectFrom('~ROBOTS');
    return put_aside('sender unknown') unless listed($sender);
    Bounce('-f @Mail router', '-s @Returned mail', "-h $template", '-r @netmail router');
    return if SelectTo('HERE');           # a user of ours made a mistake: the answer stays here
    send_on();
}

sub put_aside {
    my ($why) = @_;
    Log(1, "   put aside: $why");
    Move('BAD');
}

# Is the node (of a point: its boss) in the nodelist?
sub listed {
    my ($address) = @_;
    $address =~ s/\.\d+$//;
    my @record = GetNodelistRecord(0, $address);
    return @record > 0;
}

1;
