# route.pl, a small netmail robot. Run it with:  quelmo -1 NETMAIL route
#
# The sub has the name of the file. Its arguments come from -1 on the command line.

use strict;
use warnings;

our @report;    # filled below, read by CreateMail: the option "-l @report." names this array

sub route {
    my ($area) = @_;
    Scan($area || 'NETMAIL');
    my %count;
    while (ReadMsg()) {
        my $verdict = verdict();
        $count{$verdict}++;
        push @report, "$verdict: " . GetFrom() . ' to ' . GetTo() if $verdict =~ /bounced|loop/;
        act($verdict);
    }
    unshift @report, map { sprintf '%4d %s', $count{$_}, $_ } sort keys %count;
    CreateMail('LOCAL', '@2:999/100 Sysop', '-s @What the robot did', '-l @report.') if %count;
    DoBinkOutbound('OUT');
}

# What is to happen to the message in memory.
sub verdict {
    return 'loop' if Select('LOOPED');
    return 'bounced, too old' if SelectTo('STALE');
    return 'with files that are not here' if Select('ATTACH') && !CheckPath('SHARED');
    if (SelectTo('HERE')) { return SelectTo('USERS') ? 'local' : 'bounced, no such user' }
    if (SelectTo('OURPOINTS')) { return SelectTo('KNOWNPOINTS') ? 'for a point' : 'bounced, no such point' }
    return 'on its way';
}

sub act {
    my ($verdict) = @_;
    if ($verdict eq 'loop') { Move('BAD') }
    elsif ($verdict eq 'local') { Move('LOCAL') }
    elsif ($verdict eq 'for a point') { Move('POINTS') }
    elsif ($verdict =~ /^with files/) { Move('ATTACHED', '-a @HOLD') }
    else {
        bounce($verdict) if $verdict =~ /^bounced/;
        SetRouting('ROUTES');
        Move('OUT');
    }
}

# Turns the message in memory into a reply to its sender that quotes it below the text of a template.
sub bounce {
    my ($verdict) = @_;
    my $template = $verdict =~ /old/ ? 'stale' : 'unknown';
    Bounce('-f @Mail robot', '-s @Returned: %SUBJECT%', "-h $template", '-r @netmail robot');
    Log(1, "   $verdict");
}

1;
