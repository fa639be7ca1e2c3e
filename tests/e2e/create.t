# CreateMail, Bounce and ChangeMail: the options, templates and arrays, and the bytes of the messages that they make.

use strict;
use warnings;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
my $NEW = via_like('2:999/100@testnet');
my $MSGID = qr{\x01MSGID: 2:999/100\@testnet [0-9a-f]{8}\r};
my $PID = qr{\x01PID: quelmo 1\.02/w32 19-01-01\r};
my $BLOCKS = <<'EOT';
TEMPLATEPATH tpl
DATA NAME WHO
"Ann Block"
#END#
DATA ADDRESS WHERE
2:3/4.5
#END#
DATA ADDRESS POINT9
*:*/*.9
#END#
DATA ADDRESSNAME BOTH
2:6/7 Ann Both
#END#
DATA SYSTEM OWN
2:999/300 testnet 2
77:7/7 othernet 77
#END#
DATA SUBJECT TOPIC
A block's subject
#END#
DATA ATTRIBUTE WORDS
CRASH !PRIVATE
DIR
#END#
DATA ROUTING ROUTES
CRASH 2:9/9 *:*/*.*
#END#
EOT
my @ARRAYS = q{our @list = ('first %FROMNAME%', '', 'third'); our @none = (); our @odd; $odd[1] = 'y'; our @tail = ('one', "\x01PATH: 1", 'two'); SetGlobalVar('NOTHING', '');};

sub create {
    my ($calls, %o) = @_;
    my $s = scenario(areas => {NETMAIL => [], ECHO => []}, echo => ['ECHO'], config => $BLOCKS, %o);
    mkdir $s->path('tpl');
    $s->spew("tpl/$_->[0]", $_->[1]) for @{$o{templates} // []};
    return ($s, $s->run(script => "@ARRAYS $calls"));
}

{    # The plain case, and a message that is in memory meanwhile.
    my ($s, $r) = create(q{
        out(CreateMail('netmail', '@2:999/5.6 Joe Doe', '-s @Hi', '-l @a line', '-r @tear', '-o @orig'));
        Scan('NETMAIL'); ReadMsg(); SetAttribute('@ AUDIT'); my @before = (GetHdr(), GetMsg());
        out(CreateMail('', '@2:999/7')); out("@before" eq join ' ', GetHdr(), GetMsg());
    });
    $r->ended_well;
    my ($m, $second) = map { $s->msg('NETMAIL', $_) } 1, 2;
    is_deeply([@$m{qw(from to subject attr orig_net orig_node dest_net dest_node times_read cost)}],
        ['quelmo', 'Joe Doe', 'Hi', 0x4101, 999, 100, 999, 5, 0, 0], 'header');
    like($m->{text}, qr{\A\x01INTL 2:999/5 2:999/100\r\x01TOPT 6\r$MSGID${PID}a line\r--- tear\r \* Origin: orig \(2:999/100\)\r$NEW\0\z}, 'text');
    is_deeply([@$second{qw(to subject attr dest_node)}], ['Sysop', 'Automatically created mail', 0x101, 7], 'defaults, in the current area');
    is($r->said->[2][0], 1, 'the message in memory stays');
    my ($one, $two) = map { $_->{text} =~ /MSGID: \S+ (\w{8})/ } $m, $second;
    isnt($one, $two, 'serials differ');
    $r->log_like(qr/^0 quelmo \(2:999\/100\) -> Joe Doe \(2:999\/5\.6\)$/);
    $r->log_like(qr/^   Mail created in area NETMAIL$/);
}

# The addressee and the sender: "to", options, expected name, address, sender name, sender address.
for my $case (
    ['WHO', '-t @2:1/2', 'Ann Block', '1/2', 'quelmo', '999/100'], ['WHERE', '', 'Sysop', '3/4', 'quelmo', '999/100'],
    ['BOTH', '', 'Ann Both', '6/7', 'quelmo', '999/100'], ['@2:1/2.3', '-t POINT9', 'Sysop', '1/2', 'quelmo', '999/100'],
    ['@77:1/2 X', '-f own', 'X', '1/2', 'quelmo', '7/7'], ['@2:1/2 X', '-f @2:5/6 Me', 'X', '1/2', 'Me', '5/6'],
    ['@2:1/2 ' . 'n' x 50, '-f @Only Name', 'n' x 35, '1/2', 'Only Name', '999/100'],
) {
    my ($to, $option, @expected) = @$case;
    my ($s, $r) = create("CreateMail('NETMAIL', '$to'" . ($option ? ", '$option'" : '') . ')');
    my $m = $s->msg('NETMAIL', 1) // {};
    is_deeply([@$m{qw(to dest_net dest_node from orig_net orig_node)}], [map { m{/} ? split m{/} : $_ } @expected], "$to $option");
}
{
    my ($s) = create(q{CreateMail('NETMAIL', '@2:1/2.3', '-t @*:*/*.9')});
    like($s->msg('NETMAIL', 1)->{text}, qr/\x01TOPT 9\r/, 'wildcards leave the other fields');
}

# One option at a time: options, then the fields to find.
for my $case (
    ['-s TOPIC', subject => q{A block's subject}], ["-s \@" . 's' x 100, subject => 's' x 71], ['-S @x', subject => 'x'],
    ['-a WORDS', attr => 0x103], ['-a @clear RRQ', attr => 0x1001], ['-a !WORDS', attr => 0x101], ['-a @HOLD !LOCAL', attr => 0x201],
    ['-d 12 Jan 99  12:00:00', date => '12 Jan 99  12:00:00'], ['-d Fri 26 Mar 99 12:05', date => '26 Mar 99  12:05:00'],
) {
    my ($option, $field, $value) = @$case;
    my ($s, $r) = create(q{CreateMail('NETMAIL', '@2:1/2', "} . quotemeta($option) . q{")});
    is($s->msg('NETMAIL', 1)->{$field}, $value, $option);
}

# Texts. The body (behind the kludges) that the options make of templates and arrays.
my @TEMPLATES = (['greet.tpl', "Dear %TONAME%,\r\nline two\n\nno end"], ['gone.tpl', "a\n%NOTHING%\n%NOTHING%"], ['UP.TPL', "upper\n"], ['plain.txt', "txt\n"], ['empty.tpl', ''],
    ['list.tpl', "Hi %list.% bye\n%%list.%%\n100% sure 5%\n%nolist.%\n%x\n"], ['long.tpl', 'w' x 1000 . "\nnext\n"]);
for my $case (
    ['-h greet', "Dear %TONAME%,|line two||no end|"], ['-h @up', 'upper|'], ['-h plain.txt', 'txt|'], ['-h gone', 'a||'], ['-h empty', ''],
    ['-h list', 'Hi first %FROMNAME%||third bye|first %FROMNAME%||third|100% sure 5%|nolist.|%x|'], ['-h long', 'w' x 1000 . '|next|'],
    ['-l @one', 'one|'], ['-l one', ''], ['-l @list.', 'first %FROMNAME%||third|'], ['-l @main::list.', 'first %FROMNAME%||third|'],
    ['-l @none.', ''], ['-l @odd.', '|y|'], ['-l @tail.', "one|two|\x01PATH: 1|"], ['-l @nosuch.', 'nosuch.|'], ['-l @', '|'], ['-l @100%', '100%|'], ['-l @%%TZ%% %LOCALDATE', '+0 %LOCALDATE|'],
    ["-h greet', '-l \@first", 'first|Dear %TONAME%,|line two||no end|'], ["-h greet', '-l2 \@second", 'Dear %TONAME%,|second|line two||no end|'],
    ["-l \@only the first', '-l \@counts", 'only the first|'], ["-l \@a b", 'a b|'], ['-l "@quoted"', ''], ["-l \@tab\\there", 'tab\there|'],
) {
    my ($option, $body) = @$case;
    my ($s, $r) = create(q{CreateMail('NETMAIL', '@2:1/2', '} . $option . q{')}, templates => \@TEMPLATES);
    $r->ended_well("$option ends well");
    my $text = ($s->msg('NETMAIL', 1) // {text => ''})->{text};
    my $got = $text =~ /$PID(.*)$NEW\0\z/s ? $1 : "?$text";
    # Macros that need a message find none: %FROMNAME% stays.
    is($got =~ s/\r/|/gr, $body, "text of $option");
}

{    # Many lines take no longer each than few.
    my ($s, $r) = create(q{ @list = map { "line $_" } 1 .. 100_000; CreateMail('NETMAIL', '@2:1/2', '-l @list.') }, timeout => 30);
    my $lines = join '', map { "line $_\r" } 1 .. 100_000;
    ok(index($s->msg('NETMAIL', 1)->{text}, $lines) > 0, 'an array of 100,000 lines');
    cmp_ok($r->seconds, '<', 10, 'in a short time');
}

# Echomail, by the area or by the option.
for my $case (['ECHO', '', '', 0x100], ['ECHO', '-e My.Echo', "AREA:MY.ECHO\r", 0x100], ['NETMAIL', '-e @my.echo', "AREA:MY.ECHO\r", 0x100]) {
    my ($area, $option, $head, $attr) = @$case;
    my ($s) = create("CreateMail('$area', '\@2:1/2.3 All', '-l \@x', '$option')" =~ s/, ''\)/)/r);
    my $m = $s->msg($area, 1);
    is($m->{attr}, $attr, "$area $option: not private");
    like($m->{text}, qr/\A$head$MSGID${PID}x\r\0\z/, "$area $option: neither INTL nor Via");
}

# Faults of a script stop the run; no mail is made, and the message in memory is saved with its change.
for my $case (
    [q{CreateMail('NETMAIL')}, qr/perl_CreateMail\(\) argument count \(need 2 or more, exist 1\)/],
    [q{CreateMail('NOWHERE', '@2:1/2')}, qr/perl_CreateMail\(\) unknown area `NOWHERE'/],
    [q{CreateMail('OUT', '@Bob')}, qr/perl_CreateMail\(\) To addr not defined: `/],
    [q{CreateMail('OUT', 'NOBLOCK')}, qr/block undefinded : `NOBLOCK'/],
    [q{CreateMail('OUT', '@2:1/2', '-q @x')}, qr/incorrect argument : `/],
    [q{CreateMail('OUT', '@2:1/2', '')}, qr/incorrect argument : `/],
    [q{CreateMail('OUT', '@2:1/2', '-s NOBLOCK')}, qr/no such <Data Subject> : `NOBLOCK'/],
    [q{CreateMail('OUT', '@2:1/2', '-a @FOO')}, qr/SetAttribute error: incorrect `FOO'|incorrect/],
    [q{CreateMail('OUT', '@2:1/2', '-a NOBLOCK')}, qr/block undefined : `NOBLOCK'/],
    [q{CreateMail('OUT', '@2:1/2', '-h nofile')}, qr/read_tpl: can`t open template file: `nofile/],
    [q{CreateMail('OUT', '@2:1/2', '-u NOBLOCK')}, qr/block not defined: `NOBLOCK'/],
    [q{ChangeMail('-u @NOBLOCK')}, qr/block not defined: `NOBLOCK'/],
    [q{Bounce('-a @FOO')}, qr/incorrect/], ['ChangeMail()', qr/perl_ChangeMail\(\) argument count \(need 1 or more, exist 0\)/],
    [q{rmdir 'OUT'; CreateMail('OUT', '@2:1/2')}, qr//],
) {
    my ($call, $pattern) = @$case;
    my $s = scenario(areas => {NETMAIL => [{from => 'Bob', text => "Hi\r$OURS"}], OUT => []}, config => $BLOCKS);
    mkdir $s->path('tpl');
    my $r = $s->run(script => "Scan('NETMAIL'); ReadMsg(); SetAttribute('\@ AUDIT'); $call; out('went on')");
    $r->stopped($pattern, "$call stops the run");
    is_deeply([$s->files('OUT')], [], "$call: no mail");
    my $m = $s->msg('NETMAIL', 1);
    is_deeply([@$m{qw(from attr)}, $m->{text} eq "Hi\r$OURS\0"], ['Bob', 0x4000, 1], "$call: the change is saved");
    is_deeply($r->said, [], "$call: the script doesn't go on");
}

# Bounce: back to the sender, in the place of the old message, which it quotes.
{
    my $text = "\x01INTL 2:999/100 1:5020/100\r\x01FMPT 7\r\x01MSGID: 1:5020/100.7 1\rHello\r\r--- tear\r * Origin: o (1:5020/100)\rSEEN-BY: 1/2\r\x01Via 2:8/8 x\r$OURS";
    my %old = (from => 'Bob', to => 'Ann', subject => 'S', orig => '5020/100', dest => '999/100', times_read => 3, attr => 0x80, text => $text);
    my $s = scenario(areas => {NETMAIL => {'5.msg' => \%old, '6.msg' => \%old}}, config => $BLOCKS, system => {NETMAIL => 'OWN'}, script => q{
        Scan('NETMAIL');
        ReadMsg(); Bounce('-l @No such user %TONAME% (%OLDTO%)', '-s @Re: %OLDSUBJECT%', '-t @2:1/1 Somebody'); 
        ReadMsg(); Bounce();
    });
    mkdir $s->path('tpl');
    my $r = $s->run;
    $r->ended_well;
    is_deeply([$s->files('NETMAIL')], ['5.msg', '6.msg'], 'in the place of the old one');
    my ($m, $plain) = map { $s->msg('NETMAIL', $_) } 5, 6;
    is_deeply([@$m{qw(from to subject orig_net orig_node dest_net dest_node attr)}],
        ['quelmo 1.02/w32 19-01-01', 'Somebody', 'Re: S', 999, 100, 5020, 100, 0x101], 'header: to the sender, from our AKA');
    my $msgid = qr{\x01MSGID: 2:999/100\@testnet [0-9a-f]{8}\r};
    my $head = qr{\x01INTL 1:5020/100 2:999/100\r\x01TOPT 7\r$msgid$PID};
    my $quote = qr{Hello\r\r-\+- tear\r \+ Origin: o \(1:5020/100\)\r\@Via 2:8/8 x\r\@Via 2:999/100\@testnet .*?\r};
    like($m->{text}, qr{\A${head}No such user Ann \(2:999/100\)\r$quote.*$NEW\0\z}s, 'kludges, reason, quote, Via');
    is_deeply([@$plain{qw(to subject)}], ['Bob', 'S'], 'without options');
    unlike($m->{text}, qr/SEEN-BY|5020\/100\.7 1\r/, 'the old kludges are gone');
}

{    # Bounce in an echo area; ChangeMail in both.
    my $echo = "AREA:E\r\x01MSGID: 1:2/3 1\r\x01FLAGS DIR\rHi\r\x01Via 2:8/8 x\r";
    my $net = "\x01INTL 2:1/2 2:3/4\r\x01TOPT 5\r\x01FLAGS DIR\r\x01MSGID: 2:3/4 1\rOne\r * Origin: x (FidoNet 2:3/4)\r$OURS";
    my $s = scenario(
        areas => {ECHO => [{text => $echo, attr => 0}, {text => $echo, attr => 1}], NETMAIL => [{text => $net, orig => '3/4', dest => '1/2', attr => 1}]},
        echo => ['ECHO'], config => "$BLOCKS\nTOUCHECHOMAIL no\n", script => q{
            Scan('ECHO'); ReadMsg(); Bounce('-l @why'); ReadMsg(); ChangeMail('-f @2:5/6 Me', '-s @T');
            Scan('NETMAIL'); ReadMsg(); ChangeMail('-f @2:5/6.7', '-t @2:8/9 You', '-a @DIR ZON', '-l2 @two'); out(GetHdr());
        },
    );
    mkdir $s->path('tpl');
    my $r = $s->run;
    $r->ended_well;
    my ($bounced, $changed) = map { $s->msg('ECHO', $_) } 1, 2;
    is($bounced->{attr}, 0x100, 'echomail bounced: not private');
    like($bounced->{text}, qr/\A$MSGID${PID}why\rAREA:E\rHi\r\@Via 2:8\/8 x\r\0\z/, 'echomail bounced: neither INTL nor Via');
    is_deeply([@$changed{qw(from subject attr)}], ['Me', 'T', 1], 'echomail changed: header');
    like($changed->{text}, qr/\AAREA:E\r\x01FLAGS DIR\r\x01MSGID: 2:5\/6 [0-9a-f]{8}\rHi\r\0\z/, 'echomail changed: a new MSGID, no Via');
    my $m = $s->msg('NETMAIL', 1);
    is_deeply([@$m{qw(to orig_net orig_node dest_net dest_node attr)}], ['You', 5, 6, 8, 9, 1], 'netmail changed: header');
    like($m->{text}, qr{\A\x01INTL 2:8/9 2:5/6\r\x01FMPT 7\r\x01FLAGS DIR ZON\r\x01MSGID: 2:3/4 1\rOne\rtwo\r \* Origin: x \(FidoNet 2:5/6\.7\)\r$NEW\0\z},
        'netmail changed: kludges, Origin and Via follow');
    $r->log_like(qr/^   Message Changed/);
    $r->log_like(qr/^   Bounced/);
}
done_testing;
