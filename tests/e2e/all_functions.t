# All functions of the manual page with every number of arguments and with arguments that nobody expects, in every kind of
# area, with and without a message: a call gives a result or is the orderly end of the run, and touches nothing else.

use strict;
use warnings;
use List::Util qw(shuffle);
use Quelmo::Jam;
use Quelmo::Pkt;
use Quelmo::Squish;
use Quelmo::Test;

my $SEED = $ENV{QUELMO_SEED} // 20240501;
my $ROUNDS = $ENV{QUELMO_ROUNDS} // 1;    # how often a function meets odd values in each setting
my $SLOW = system('grep', '-q', '__asan_init', $ENV{QUELMO_BIN}) == 0;
diag("QUELMO_SEED=$SEED") if $ENV{QUELMO_SEED};

# The functions as the manual page heads them: [least, most, names of the arguments].
my %functions;
open my $pod, '<', "$ENV{QUELMO_SOURCE}/docs/functions.pod" or die;
while (<$pod>) {
    my ($name, $list) = /^=head2 (\w+)\((.*)\)$/ or next;
    my @arguments = $list =~ /[A-Z]+/g;
    my $least = () = ($list =~ s/\[.*//r) =~ /[A-Z]+/g;
    $functions{$name} = [$least, $list =~ /\.\.\./ ? 99 : scalar @arguments, @arguments];
}
is(scalar keys %functions, 77, 'functions of the manual page');

# Arguments that make sense, by their names there, and those that don't, as Perl expressions.
sub words { return map { "'$_'" } @_ }
my @TESTS = map { my $t = $_; map { "$_$t" } '', '!', '~', '!~' } '@ADDRESS 2:1/* 2:#/1.#', '@NAME Ann', '@SUBJECT x', '@KLUDGE MSGID: PID:', '@TEXTSTRING Hi', '@ATTRIBUTE Changed PRIVATE !SENT',
    '@MESSAGELENGTH 10', '@MESSAGEAGE 3', '@DATE 1-31.*', '@ECHONAME X', '@FILES *.x', 'A', 'N', 'P';
my %FITTING = (
    AREA => [words qw(NET ECHO SQ JAM PKT OUT TXT)], TIMESTAMPS => [words 'ts'], OPTION => [words '-t @2:5/6.7 Bob', '-f N', '-s @x %FROM%', '-a @HOLD DIR', '-h tpl', '-l @array.', '-l9 @x', '-e X', '-r t', '-o o',
        '-d 01 Jan 99  12:00:00', '-d', '-u R', '-u 2:5/*', '-p array.'], TO => [words '@2:5/6.7 Bob', 'A', 'S'], ADDRESS => [words '2:5/6.7', '2:1/1', '@ADDRESS 2:5/6', '~@ADDRESS 1:2/3.4', 'A'],
    WORDS => [words '@ AUDIT', '@ !Changed', 'HOLD !CRASH', 'T'], TEST => [words @TESTS], WHAT => [words 'Hi', '~+i', 'X', '@KLUDGE MSGID:', '!~@KLUDGE ID', '1'], WITH => [words 'ho %FROM%'],
    TEXT => [words 'text', 'array.', '%FROM% %%'], LINE => [1, -1, 99999, "'1000000000000'"], TEMPLATE => [words 'tpl', 'none', 'tpl.tpl'], PATHS => [words '@path home . pkts', 'D'], BLOCK => [words qw(R W L K Z)],
    BLOCKS => [words 'L W', '-W', '+L'], ARRAY => [q{['2:1/1', '2:5/6', '01 Jan 99  12:00:00', 'PW', 1 .. 5]}, q{[('9' x 300) x 9]}, q{[(undef, '%', '') x 3]}], FIELD => [0, 1, 7, -1], PATH => [words 'boxes'],
    PACKETS => [words 'PKT'], OUT => [words qw(OUT BOX)], SOURCE => [words '@path pkts', 'D'], WORKDIR => [words '@path work'], FILES => [words '@files made.flg', 'F'], WORD => [words qw(ON OFF)],
    PATTERN => [words '~^h[aeiou]*', '(a|b)\1*{2}', '((((a*)*)*)*)*b'], TYPE => [words qw(ADDRESS ROUTING NAME FILES SYSTEM ATTRIBUTE DATE TEXTSTRING MACRO KLUDGE PATH TIMESLOT ADDRESSPACKER PASSWORDADDRESS READDRESSLIST)],
    TAG => [words qw(A NEW)], LINES => [q{['2:1/1']}, q{['x' x 300, undef, '%', "\x{263a}", [1], '2:* *', '"']}, '[]'],
    KEYWORD => [words qw(DEBUG CHAT LOGFILE MAINADDRESS TEMPLATEPATH TIMESTAMPPATH USEREGEXP FIDOAREA SQUISHAREA JAMAREA PKTAREA BINKAREA TEXTAREA INTAB OUTTAB TEMPDIR IGNOREBSY LOGINCLUDE UNKNOWN)],
    VALUE => [words 'ON', '3', 'new NEW', '2:1/2@x'], NAME => [words qw(V quelmo.cfg)], LEVEL => [0, 5],
);
my @ODD = (
    q{''}, 'undef', q{' '}, q{"\t \r\n"}, q{'x' x 300}, q{'x ' x 35_000}, q{'%' x 300}, words('%', '%%', '%A%', '%FROM%%%A%%', '%.%', '%array.%'), words('"', '"a', 'a"b "', '""', '\\\\'),
    words('@', '~', '!', '+', '#', '-', '@ ', '~@', '!~@', '@~', '-t', '-t @', '-h999999999999 x', '-l-1 @', '-p', '.', '..x', '*', '-p none.'), words('%s%n%d'), q{[1, undef]}, '[]', '{}', '\\1', 'sub {1}', '*STDOUT', q{"\x{263a}\x{100}"}, q{"a\0b"}, q{"\0"},
    q{join('', map { chr } 1 .. 255)}, words('1:1/1.1.1', '99999:1/1', '*:*/*.*', '2:5/-1', '0', '-1', '1e99', '4294967296'), (map { "'\@$_ ' . '9' x 300" } qw(ADDRESS NAME KLUDGE TEXTSTRING FILES DATE PATH MESSAGELENGTH)),
    map({ ("'\@$_'", "'\@$_ \"'") } qw(ADDRESS NAME KLUDGE SUBJECT TEXTSTRING FILES DATE PATH MESSAGELENGTH MESSAGEAGE ATTRIBUTE ECHONAME ROUTING DAYOFWEEK)), 'bless([], "x")',
);
sub one_of { return $_[rand @_] }
sub argument { my ($name) = @_; return rand() < 0.5 ? one_of(@ODD) : one_of(@{$FITTING{$name // 'OPTION'} // \@ODD}) }
sub call { my ($name, $count) = @_; my (undef, undef, @names) = @{$functions{$name}}; return "$name(" . join(', ', map { argument($names[$_]) } 0 .. $count - 1) . ')' }

my $CONFIG = join '', "COMPRESSFILE compress.cfg\n", map { my ($type, $tag, @lines) = @$_; join "\n", "DATA $type $tag", @lines, "#END#\n" } ['ADDRESS', 'A', '2:1/*', '1:*/*.*'], ['NAME', 'N', 'Ann', '*'], ['ROUTING', 'R', 'HOLD 2:5/6 *:*/*.*'], ['SYSTEM', 'S', '2:999/100 n 1 2'],
    ['ATTRIBUTE', 'T', 'HOLD'], ['TEXTSTRING', 'X', 'Hi', 'Ho'], ['KLUDGE', 'P', 'MSGID:'], ['KLUDGE', 'K', 'PID:'], ['ADDRESSPACKER', 'Z', '2:5/6 E 1k HOLD', '*:*/* E -'], ['FILES', 'F', 'f.flg !n.flg'], ['PATH', 'D', 'pkts'], ['NODELIST', 'L', 'nd nodelist list.???'], ['VERSION9', 'W', 'v9 nodelist list.???'];
$CONFIG .= "TEMPLATEPATH .\nFIDOAREA net NET\nFIDOAREA echo ECHO S echomail\nSQUISHAREA sq SQ S\nJAMAREA jam JAM S\nPKTAREA pkts PKT S\nPKTAREA boxes BOX t-box\nBINKAREA out OUT S\nTEXTAREA txt TXT\n";

# A home whose areas hold mail of their kinds; what runs left in there goes.
my $s = scenario(config => $CONFIG);
my $outside = "$s->{top}/outside";
mkdir $outside;
$s->spew("$outside/kept", 'as it is');
my $fresh = $s->slurp('quelmo.cfg');
srand $SEED;

sub fill {
    system 'rm', '-rf', $s->home;
    mkdir $s->path($_) for '', qw(net echo pkts boxes out work nodelist);
    my @mail = map { +{from => 'Ann', orig => '1/1', dest => '5/6', text => "\x01INTL 2:5/6 2:1/1\r\x01MSGID: 2:1/1 0000000$_\rHi $_\r--- t\r * Origin: x (2:1/1)\r\x01Via 2:1/1 x\r"} } 1 .. 2;
    $s->area('net', [@mail, {subject => 'a.zip "b', attr => 0x10}, 'short'])->area('echo', [{text => "AREA:X\rHi\r--- \r * Origin: x (2:1/1)\rSEEN-BY: 1/1\r\x01PATH: 1/1\r"}, @mail]);
    my ($sqd, $sqi) = pack_squish([map { {orig => '2:1/1', dest => '2:5/6', ctrl => "\x01MSGID: 2:1/1 $_", text => "Hi\r\x01Via 2:1/1\r"} } 1 .. 3]);
    put_jam($s->spew('sq.sqd', $sqd)->spew('sq.sqi', $sqi), 'jam', messages => [map { {text => "Hi\r", sf => [2, 'Ann', 3, 'Bob', 0, '2:1/1', 1, '2:5/6', 4, '2:1/1 1', 6, 's']} } 1 .. 3]);
    $s->spew("pkts/0000000$_.pkt", pack_pkt({}, @mail, {})) for 1, 2;
    $s->spew('out/00050006.out', pack_pkt({to => '2:5/6'}, @mail, {}))->spew('nodelist/list.001', "Zone,2,Z,C,S,1,9600\r\nHost,5,H,C,S,1,9600\r\n,6,N,C,S,1,9600\r\n")->spew('tpl.tpl', "%FROM%\n%array.%\n%%\n");
    $s->spew('a.zip', 'z')->spew('quelmo.cfg', $fresh)->spew('pkts/12345678.mo0', 'AR of packets')->spew('compress.cfg',
        "Archiver E\nExtension E\nIdent 0,4152\nAdd /bin/cp %f %a\nExtract /bin/cp %a 0000000a.pkt %f\nEnd Archiver\n");
}

# Runs calls [setting, call] one after the other. A stop ends a run, and the next run goes on behind it, in a fresh home.
my ($runs, $stops) = (0, 0);
sub run_calls {
    my ($what, $message, @calls) = @_;
    my @bad;
    while (@calls) {
        my $count = @calls > 40 ? 40 : @calls;
        my $body = join '', map { "sub { $calls[$_][0] out($_); $calls[$_][1] },\n" } 0 .. $count - 1;
        fill();
        my $r = $s->run(script => "BEGIN { our \@array = ('one', undef, '%', 'x' x 300) }\n\$_->() for (\n$body); out('end')", timeout => 30);
        my $last = ($r->said->[-1] // ['no call'])->[0];
        my $log = join '', map { $s->slurp($_) // '' } grep { -f $s->path($_) } $s->files('.');
        my $fault = $r->{signal} || $r->code > 1 || $r->err =~ /runtime error/ ? "status $r->{status}" : ($r->code == 0) != ($last eq 'end') || $last eq 'no call' ? 'ended in disorder'
          : $r->code && $r->err !~ $message ? 'no message' : -e $s->path('quelmo.bsy') ? 'the lock is left' : $log !~ /^\d\d:\d\d:\d\d  Runtime: /m ? 'no footer' : '';
        eval { unpack_squish($s->slurp('sq.sqd'), $s->slurp('sq.sqi')) } or $fault ||= "Squish base: $@";
        push @bad, [$fault, $last, $last =~ /^\d+$/ ? @{$calls[$last]} : (), $r->err, @{$r->log}] if $fault;
        ($runs, $stops) = ($runs + 1, $stops + $r->code);
        splice @calls, 0, $last =~ /^\d+$/ ? $last + 1 : $count;
    }
    ok(!@bad, $what) or diag(explain(@bad > 5 ? [@bad[0 .. 4], scalar @bad] : \@bad));
}

my @SETTINGS = ('', map { ("Scan('$_');", "Scan('$_'); ReadMsg();") } qw(NET ECHO SQ JAM PKT OUT TXT));

# Functions without arguments never stop the run but for want of an area, whatever the others have left.
my @bare = grep { $functions{$_}[0] == 0 && !/^(?:Rewind|ReadMsg)$/ } sort keys %functions;
run_calls('functions without arguments', qr/^\z/, map { my $setting = $_; map { [$setting, "$_();"] } shuffle @bare } shuffle((@SETTINGS) x 4));
run_calls("$_ without an area", qr/no area selected|area not/, ['', "$_();"]) for qw(Rewind ReadMsg);

# Wrong counts, each in some setting: none of the calls may come back.
my @wrong;
for my $name (sort keys %functions) {
    my ($least, $most) = @{$functions{$name}};
    my @counts = grep { $_ < $least || $_ > $most } 0 .. 12;
    # A build with sanitizers takes its time: the counts beside the right ones, and another one.
    @counts = grep { $_ == $least - 1 || $_ == $most + 1 || $_ == 12 } @counts if $SLOW;
    push @wrong, map { [one_of(@SETTINGS), "$name(" . join(', ', map { one_of(@ODD) } 1 .. $_) . "); exit 9;"] } @counts;
}
run_calls(scalar(@wrong) . ' calls with a wrong number of arguments', qr/argument count/, @wrong);

# Odd values among fitting ones.
my @odd;
for my $name (sort grep { $functions{$_}[1] } keys %functions) {
    my ($least, $most) = @{$functions{$name}};
    push @odd, map { [$_, call($name, $least + int rand(($most > 12 ? 12 : $most) + 1 - $least)) . ';'] } (@SETTINGS) x $ROUNDS;
}
run_calls(scalar(@odd) . ' calls with odd values', qr/./, shuffle @odd);
note("$runs runs, $stops stops");

is_deeply([[sort map { s{.*/}{}r } glob "$s->{top}/*"], [glob "$outside/*"], $s->slurp("$outside/kept")], [[qw(home outside said stderr stdin stdout)], ["$outside/kept"], 'as it is'],
    'nothing outside of the home directory is touched');
done_testing;
