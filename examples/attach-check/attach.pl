# attach.pl looks after file attaches. Run it with:  quelmo attach

use strict;
use warnings;

sub attach {
    Scan('NETMAIL');
    while (ReadMsg()) {
        next if !Select('@ATTRIBUTE FILE') || Select('@ATTRIBUTE SENT');
        if    (files_are_here()) { arrived() }
        elsif (SelectTo('LATE')) { give_back() }
        else                     { Log(1, '   its files are not here yet') }
    }
    DoBinkOutbound('OUT');
}

# CheckPath puts the full names of the files into the subject. Where they don't fit it makes further attaches in NETMAIL:
# these have their turn in the next run.
sub files_are_here {
    return 0 unless CheckPath(ours() ? 'OUTGOING' : 'INBOUND');

    # A name that would be longer than a subject has stayed as it was: without its directory the mailer wouldn't find it.
    my @files = split ' ', GetSubject();
    return 0 if grep { !m{/} } @files;

    # Others write FILE.ZIP where the disk has file.zip. The mailer looks for the very name, so it has to be that of the disk.
    my @spelled = map { as_spelled($_) } @files;
    ChangeMail("-s \@@spelled") if "@spelled" ne "@files" && "@spelled" !~ /%/;    # a % could start a macro
    return 1;
}

sub as_spelled {
    my ($path) = @_;
    my ($directory, $name) = $path =~ m{^(.*/)([^/]+)$};
    return $path if -e $path;
    opendir my $handle, $directory or return $path;
    my ($found) = grep { lc eq lc $name } readdir $handle;
    return defined $found ? $directory . $found : $path;
}

sub arrived {
    return if SelectTo('HERE');                     # stays; the subject says now where the file is
    SetRouting('ROUTES');
    if (ours()) { Move('OUT') }
    else        { Move('OUT', '-a @KFS') }          # only a copy in transit: the mailer deletes it when it is sent
}

sub give_back {
    Log(1, '   its files did not come');
    return Move('BAD') if SelectFrom('~ROBOTS');
    (my $files = GetSubject()) =~ tr/%/#/;          # a foreign text, in which macros would be expanded
    Bounce('-f @File robot', "-s \@Missing: $files", '-h missing', '-r @attach checker');
    return if SelectTo('HERE');                     # one of our users: the answer stays
    SetRouting('ROUTES');
    Move('OUT');
}

sub ours { return Select('@ATTRIBUTE LOCAL') && SelectFrom('HERE') }

1;
