# filter.pl cleans packets up. Run it with:  quelmo filter
#
# A message that stays unchanged stays in its packet. A changed one goes to a new packet beside it, which has the same
# sender, addressee and password, so the tosser takes it as it would have taken the old one.

use strict;
use warnings;

sub filter {
    my (%seen, %count);
    Scan('INBOUND');
    while (ReadMsg()) { $count{one_message(\%seen)}++ }
    Log(0, "filter: $count{$_} $_") for sort keys %count;
}

# Gives a word for what was done.
sub one_message {
    my ($seen) = @_;
    if (!defined GetEchoName()) {
        SetAttribute('@ !Changed');       # netmail is none of our business: forget its new Via line
        return 'netmail';
    }
    return put_aside('of unknown echoes') unless Select('OUR.ECHOES');
    return put_aside('too long')          if Select('TOOLONG');
    return drop('from twits')             if SelectFrom('TWITS');
    return drop('empty')                  unless grep { /\S/ && !/^(AREA:|---| \* Origin:)/ } GetText();

    # The serial number of a message is its own in all the world. Only this run is looked at: the tosser has the memory.
    my ($msgid) = grep { /^MSGID:/ } GetKludges();
    return drop('doubled') if defined $msgid && $seen->{GetEchoName()}{$msgid}++;

    return clean() ? 'cleaned' : 'passed';
}

# Each step only where there is something to do, as it would count as a change.
sub clean {
    my $changed = 0;
    if (Select('NETMAILONLY')) { KillKludge('NETMAILONLY'); $changed = 1 }
    $changed = 1 if DeleteLine('+~ADVERTS');
    return $changed;
}

sub put_aside {
    my ($why) = @_;
    Move('BADECHO');
    return $why;
}

sub drop {
    my ($why) = @_;
    Kill();
    return $why;
}

1;
