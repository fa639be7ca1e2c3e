# report.pl writes a report on the mail of some areas. Run it with:  quelmo -1 NETMAIL,GENERAL report

use strict;
use warnings;

our (@areas, @senders);    # the template's %areas.% and %senders.% name these arrays

sub report {
    my @tags = @_;
    my (%letters, $all);
    for my $tag (@tags) {
        my ($count, $bytes) = (0, 0);
        Scan($tag, 'report.ts');
        while (ReadMsg()) {
            $count++;
            $bytes += ExpandMacro('MSGLENGTH');
            $letters{(split / /, GetFrom(), 2)[1] // ''}++;
            SetAttribute('@ !Changed');    # we only look: no Via line, nothing is written
        }
        push @areas, sprintf '%-20s %6d messages %8d bytes', $tag, $count, $bytes;
        $all += $count;
    }
    return unless $all;

    my @names = sort { $letters{$b} <=> $letters{$a} || $a cmp $b } keys %letters;
    splice @names, 10 if @names > 10;
    @senders = map { sprintf '%-36s %6d', plain($_), $letters{$_} } @names;

    my $sysop = '@' . ExpandMacro('SYSTEM') . ' Sysop';
    CreateMail('REPORTS', $sysop, '-h report');
    CreateMail('LOCAL', $sysop, '-f @Report writer', '-s @Mail report', '-h report', '-r @report writer');
    WriteString('@files reports/history.csv', "%SYSTEMTIME%;$all");
}

# The lines of arrays are expanded, and a stranger's name is no place for a macro.
sub plain {
    my ($text) = @_;
    $text =~ tr/%/#/;
    return $text;
}

1;
