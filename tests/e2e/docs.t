# The examples of the manual pages: the program takes each block, keyword, packer, call, option and macro that they show.

use strict;
use warnings;
use Quelmo::Test;

# Heading => its indented lines, of the sections of a page whose title fits.
sub examples {
    my ($page, $section) = @_;
    open my $f, '<', "$ENV{QUELMO_SOURCE}/docs/$page" or die "$page: $!";
    my (%found, $in, $head);
    while (<$f>) {
        if (/^=(head1|head2|item) (.*)/) { $head = $2; $in = $head =~ $section if $1 eq 'head1'; $head =~ s/[A-Z]<([^>]*)>/$1/g }
        elsif ($in && /^    (.*\n)/) { $found{$head} .= $1 }
    }
    return %found;
}

my $s = scenario(areas => {NETMAIL => [{text => "\x01INTL 2:999/100 2:999/1\rHi\r"}]});
my $own = $s->slurp('quelmo.cfg');
mkdir $s->path($_) for qw(in out nodelist templates stamps dupes flags test bad boxes amiga reports SQ JAM);
$s->spew('nodelist/NODELIST.001', "Zone,2,a,b,c,x,9600,\r\nHost,999,a,b,c,x,9600,\r\n,100,a,b,c,x,9600,\r\n");
$s->spew('cp866koi.tab', '');
$s->spew("templates/$_", "Hi\n") for qw(bounce.tpl notice.txt);

# Directories of the examples are in the home directory here; the log and the lock stay where they are.
sub at_home { my $home = $s->home; return $_[0] =~ s{C:\\FIDO\\|/var/spool/ftn/}{}gr =~ s{#in}{#$home/in}gr =~ s{\\}{/}gr =~ s{^0x.*\n|^LO(?:CK|G)FILE.*\n}{}gmr }

{
    my $config = "FLAGDIR flags\nCOMPRESSFILE compress.cfg\n";
    $s->spew('compress.cfg', join '', values %{{examples('quelmo.cfg.pod', qr/^PACKERS/)}});
    my %blocks = examples('quelmo.cfg.pod', qr/^DATA BLOCKS/);
    my @types = map { /^([A-Z0-9]+):/ ? [$_, $1] : () } sort keys %blocks;
    $config .= "DATA $_->[1] T-$_->[1]\n" . at_home($blocks{$_->[0]}) . "#END#\n" for @types;

    # Areas last, with the blocks that they name ahead of them.
    my %keywords = examples('quelmo.cfg.pod', qr/^KEYWORDS/);
    $config .= at_home($keywords{$_}) for grep { !/AREA/ } sort keys %keywords;
    $config .= "DATA SYSTEM HERE\n2:999/100 testnet 2\n#END#\nDATA PASSWORDADDRESS LINKPASSWORDS\nS 2:999/1\n#END#\nDATA PKTLENGTH LIMITS\n1k 2:1/1\n#END#\n";
    $config .= at_home($keywords{$_}) for sort { ($a =~ /^ECHO/) <=> ($b =~ /^ECHO/) } grep { /AREA/ } keys %keywords;
    $s->spew('quelmo.cfg', $own . $config);

    # Calls are only compiled.
    my %calls = examples('functions.pod', qr/^(?!NAME|SYNOPSIS|DESCRIPTION|MESSAGE OPTIONS)/);
    my $subs = join '', map { "sub { no strict; $_ };\n" } map { s/\.\.\./1/gr } @calls{sort keys %calls};
    my $r = $s->run(script => "$subs out(1)");
    $r->ended_well('blocks and keywords are taken') or diag($config);
    is_deeply($r->said, [[1]], 'calls are Perl') or diag($r->err);
    ok(@types > 25 && keys %keywords > 20 && keys %calls > 75, 'all of them were found');
}

{
    my @options = map { /'(-[^']*)'/g } values %{{examples('functions.pod', qr/^MESSAGE OPTIONS/)}};
    $s->spew('quelmo.cfg', "TEMPLATEPATH templates\nDATA NAME FRIENDS\nAnn\n#END#\nDATA SUBJECT TOPIC\nA topic\n#END#\nDATA ATTRIBUTE WORDS\nCRASH\n#END#\n"
      . "DATA SYSTEM HERE\n2:999/100 testnet 2\n#END#\nDATA ROUTING ROUTES\n2:999/1 *:*/*\n#END#\n$own");
    my %macros = examples('quelmo.cfg.pod', qr/^DESCRIPTION/);
    my @macros = $macros{Macros} =~ /^([A-Z]{2,})  +\S/gm;
    my $r = $s->run(script => q{our @lines = (1, 2); Scan('NETMAIL'); ReadMsg(); for (qw(} . "@macros" . q{)) { out($_) if ExpandMacro("%$_%") eq "%$_%" }
        ChangeMail($_) for split /\n/, "} . join("\n", map { quotemeta } @options) . q{"; out('end')});
    $r->ended_well('options are taken');
    is(join(' ', map { $_->[0] } @{$r->said}), 'PKTFROM PKTTO end', 'macros have values, but for those of packets');
    ok(@options > 20 && @macros > 23, 'all of them were found');
}

done_testing;
