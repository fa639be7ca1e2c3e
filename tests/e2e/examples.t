# The robots of examples/, each over a small store: what a sysop copies does what its comments say.

use strict;
use warnings;
use Quelmo::Test;
use Quelmo::Pkt;

my $EXAMPLES = "$ENV{QUELMO_SOURCE}/examples";
my $LIST = join '', map { "$_,x,9600,\r\n" } 'Zone,2,Home,City,Zoe', 'Host,999,Net,City,Hans', ',1,First,City,Fred', ',100,Ours,City,Sysop',
  'Hub,200,Hub,City,Gus', ',201,Harts,City,Hal', 'Hub,300,Far_Hub,City,Fay', ',301,Below,City,Bea', 'Region,50,North,City,Rita', 'Host,5020,Net,City,Helga', ',7,Long,City,Lee';

sub via { my ($who, $time) = @_; return "\x01Via $who \@$time.101500.UTC quelmo 1.02/w32 19-01-01\r" }
my $OLD = via('2:999/100@testnet', '20200101');

# Netmail with its kludges; from and to are whole addresses.
sub mail {
    my ($from, $to, %f) = @_;
    my ($onet, $opoint, $dnet, $dpoint) = map { m{^2:(\d+/\d+)(?:\.(\d+))?$} or die $_; ($1, $2) } $from, $to;
    return {orig => $onet, dest => $dnet, attr => 1, %f, text => "\x01INTL 2:$dnet 2:$onet\r" . ($opoint ? "\x01FMPT $opoint\r" : '') . ($dpoint ? "\x01TOPT $dpoint\r" : '')
      . "\x01MSGID: $from 1\r" . ($f{text} // "Hi\r")};
}

# A home made of an example, as its comments tell; /srv/ftn becomes that home.
sub example {
    my ($name, $dirs, %areas) = @_;
    my $s = scenario(areas => \%areas);
    system('cp', '-R', "$EXAMPLES/$name/.", $s->home) == 0 or die $name;
    mkdir $s->path($_) for @$dirs;
    my $home = $s->home;
    $s->spew('quelmo.cfg', $s->slurp('quelmo.cfg') =~ s{/srv/ftn}{$home}gr);
    return $s;
}
sub run_example {
    my ($s, @argv) = @_;
    my $r = $s->run(argv => \@argv);
    $r->ended_well("@argv") && is($r->err, '', "@argv: no complaint of Perl's");
    $r->log_unlike(qr/not yet implemented|error/, "@argv: no error");
    return $r;
}
sub subjects { my ($s, $area) = @_; return join '|', map { "$_->{to}: $_->{subject}" } map { $s->msg($area, $_) } grep { /msg$/ } $s->files($area) }
sub outbound { my ($s) = @_; return {map { my $p = unpack_pkt($s->slurp($_)); s{.*/out/}{}r => join '|', map { $_->{to} } @{$p->{msgs}} } grep { /ut$/ } glob($s->path('out/*') . ' ' . $s->path('out/*/*'))} }

{
    my @mail = (
        mail('2:999/1', '2:999/100', to => 'Sysop'), mail('2:5020/7', '2:999/201', to => 'Hal', attr => 0x203), mail('2:999/201', '2:999/301', to => 'Bea'),
        mail('2:999/1', '2:999/100.1', to => 'Point'), mail('2:999/100', '2:5020/7', to => 'Lee'), mail('2:999/301', '2:999/999', to => 'Nobody', from => 'Bea'),
        mail('2:999/888', '2:999/999', to => 'Lost'), mail('2:999/1', '2:999/999', to => 'Robots talk', from => 'Areafix'), mail('2:5020/7', '2:999/100.9', from => 'Lee'),
        mail('2:999/100', '2:999/999', from => 'Sysop', to => 'Typo'), mail('2:999/1', '2:999/201', attr => 0x10, subject => 'file.zip', to => 'Attach'),
        mail('2:999/201', '2:5020/7', to => 'Pingpong', text => "Hi\r$OLD" . via('2:5020/100', '20240501')),
        mail('2:999/1', '2:999/201', to => 'Loop', text => "Hi\r" . ($OLD . via('2:999/1', '20240501')) x 3),
    );
    my $s = example('netmail-router', [qw(bad out)], netmail => \@mail);
    $s->area(nodelist => {'NODELIST.001' => $LIST});
    run_example($s, qw(-1 NETMAIL route));
    is(subjects($s, 'netmail'), 'Sysop: A subject|Sysop: Returned mail|Attach: file.zip', 'router: what stays');
    is_deeply([sort split /\|/, subjects($s, 'bad') =~ s/: A subject//gr], ['Loop', 'Lost', 'Pingpong', 'Robots talk'], 'router: what is put aside');
    is_deeply(outbound($s), {'03e700c8.cut' => 'Hal', '03e7012c.out' => 'Bea|Bea', '139c0064.out' => 'Lee|Lee', '03e70064.pnt/00000001.hut' => 'Point'}, 'router: hubs, gate, points');
    like($s->slurp('out/03e7012c.out'), qr{your message of .* to 2:999/999 can't be\rdelivered: no nodelist that 2:999/100 has.*Hi\r}s, 'router: the answer quotes');
    $s->spew('nodelist/NODELIST.002', "Zone,2,a,b,c,x,9600,\r\n");
    $s->area(netmail => [mail('2:999/1', '2:999/999')]);
    run_example($s, qw(-1 NETMAIL route))->log_like(qr/nothing is routed/, 'router: a broken nodelist bounces nothing');
}

{
    my @mail = (
        mail('2:999/1', '2:999/100', from => 'Ann', to => 'Gone', subject => '100%HOME%', text => "Hi\r$OLD"), mail('2:999/1', '2:999/100', from => 'Ann', to => 'Gone', text => "Hi\r$OLD"),
        mail('2:999/1', '2:999/100', from => 'New', to => 'Gone'), mail('2:999/1', '2:999/100', from => 'Ben', to => 'Read', attr => 5, text => "Hi\r$OLD"),
        mail('2:999/1', '2:999/100', from => 'The Areafix', text => "Hi\r$OLD"),
    );
    my $s = example('mail-watcher', ['archive'], netmail => \@mail);
    run_example($s, 'watch');
    is(subjects($s, 'netmail'), 'Some Reader: A subject|Ann: Unread: 100#HOME#' =~ s/Some Reader/Gone/r, 'watcher: the new one and one answer');
    is(-s $s->path('archive/mail.jdx'), 4 * 8, 'watcher: the archive');
        like($s->msg('netmail', 6)->{body}, qr{reached 2:999/100,\rbut its addressee at 2:999/100 hasn't}, 'watcher: the letter');
    run_example($s, 'watch');
    is(scalar(() = $s->files('netmail')), 2, 'watcher: a second run has nothing to do');
}

{
    my $long = 'n' x 60;
    my @mail = map { mail(@$_[0, 1], attr => 0x11, %{$_->[2]}) } ['2:999/1', '2:999/201', {subject => 'c:\\their\\dir\\FILE.ZIP', to => 'Hal'}],
      ['2:999/1', '2:999/100', {subject => 'file.zip', to => 'Sysop'}], ['2:999/1', '2:999/201', {subject => '/etc/passwd'}],
      ['2:999/1', '2:999/201', {subject => 'gone.zip', from => 'Fred', text => "Hi\r$OLD"}], ['2:999/1', '2:999/201', {subject => $long, to => 'Long'}],
      ['2:999/100', '2:999/201', {subject => 'own.txt', attr => 0x111}],
      ['2:999/1', '2:999/201', {subject => 'part-one-of-two.zip part-two-of-two.zip', to => 'Two'}];
    my $s = example('attach-check', [qw(bad out)], netmail => \@mail);
    $s->area(inbound => {'file.zip' => 'zip', $long => '', map { ("part-$_-of-two.zip" => '') } qw(one two)});
    $s->area(outgoing => {'own.txt' => 'own'});
    run_example($s, 'attach');
    my $home = $s->home;
    is(subjects($s, 'netmail'), "Sysop: $home/inbound/file.zip|Some Reader: passwd|Long: $long|Two: $home/inbound/part-two-of-two.zip", 'attach: what stays');
    run_example($s, 'attach');    # what didn't fit into one subject goes now
    is_deeply([sort split /\r\n/, $s->slurp('out/03e700c9.flo')], ["$home/outgoing/own.txt", map { "^$home/inbound/$_" } qw(file.zip part-one-of-two.zip part-two-of-two.zip)], 'attach: the files that go');
    like($s->slurp('out/03e70001.out'), qr{Fred\0.*Missing: gone\.zip\0.*files that the subject tells,\r.*Hi\r}s, 'attach: the answer');
}

{
    my $echo = sub { my ($tag, $text, %f) = @_; return {to => 'All', %f, text => "AREA:$tag\r$text\r--- x\r * Origin: o (2:999/1)\rSEEN-BY: 999/1\r\x01PATH: 999/1\r"} };
    my %good = (from => 'Good', text => "AREA:TEST.ECHO\r\x01MSGID: 2:999/1 1\rHi\rSEEN-BY: 999/1\r");
    my $netmail = {from => 'Netmail', text => "\x01INTL 2:999/100 2:999/1\rHi\r"};
    my $packet = pack_pkt({from => '2:999/1', password => 'SECRET'}, \%good, $netmail, \%good, $echo->('NOSUCH', 'Hi', from => 'Unknown'), $echo->('TEST.ECHO', 'x' x 70000, from => 'Long'),
        $echo->('TEST.ECHO', 'Hi', from => 'Max Make-Money'), {from => 'Empty', text => "AREA:TEST.ECHO\rSEEN-BY: 999/1\r"},
        $echo->('TEST.ECHO', "\x01INTL 2:1/1 2:1/1\rkeep\rGET RICH now\rkeep", from => 'Dirty'));
    my $s = example('echomail-filter', ['badecho']);
    $s->area(inbound => {'00000001.pkt' => $packet});
    run_example($s, 'filter')->log_like(qr/^filter: 1 empty/, 'filter: an empty one');
    my $p = unpack_pkt($s->slurp('inbound/00000001.pkt'));
    is_deeply([map { $_->{raw} } @{$p->{msgs}}], [pack_packed(%good), pack_packed(%$netmail)], 'filter: what has no fault is as it was');
    my ($new) = grep { !/^0000/ } $s->files('inbound');
    my $q = unpack_pkt($s->slurp("inbound/$new"));
    is_deeply([@$q{qw(from to password)}, map { ($_->{from}, $_->{text} =~ s/\r/|/gr) } @{$q->{msgs}}], ['2:999/1', '2:999/100', 'SECRET', 'Dirty',
        "AREA:TEST.ECHO|keep|keep|--- x| * Origin: o (2:999/1)|SEEN-BY: 999/1|\x01PATH: 999/1|"], 'filter: a cleaned message in a packet like its own');
    is(join('|', map { $_->{from} } map { $s->msg('badecho', $_) } grep { /msg$/ } $s->files('badecho')), 'Unknown|Long', 'filter: what is put aside');
    run_example($s, 'filter')->log_like(qr/^filter: 2 passed|^filter: 1 netmail/, 'filter: a second run finds nothing');
}

{
    my $s = example('report-writer', [qw(general local reports stamps)], netmail => [mail('2:999/1', '2:999/100', from => 'Ann'), mail('2:999/1', '2:999/100', from => '%HOME%')]);
    my $before = $s->slurp('netmail/1.msg');
    run_example($s, '-1', 'NETMAIL,GENERAL', 'report');
    like($s->slurp('reports/1.txt'), qr{\AThe Test Board, 2:999/100, \d\d/\d\d/\d{4}\r\n.*\r\nNETMAIL +2 messages +\d+ bytes\r\nGENERAL +0 messages +0 bytes\r\n.*#HOME# +1\r\nAnn +1\r\n}s, 'report: a text file');
    is($s->msg('local', 1)->{subject}, 'Mail report', 'report: a letter');
    is($s->slurp('netmail/1.msg'), $before, 'report: the mail is untouched');
    $s->area(netmail => {'3.msg' => mail('2:999/1', '2:999/100', from => 'Cid')});
    utime time + 10, time + 10, $s->path('netmail/3.msg');    # time stamps know seconds only
    run_example($s, '-1', 'NETMAIL,GENERAL', 'report') for 1, 2;
    like($s->slurp('reports/2.txt'), qr/NETMAIL +1 messages.*Cid +1\r\n/s, 'report: only what came since');
    is_deeply([$s->files('reports')], ['history.csv', '1.txt', '2.txt'], 'report: none without mail');
}

done_testing;
