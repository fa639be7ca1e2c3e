# Mail that nobody should have written: it is read, shown, changed and moved without a crash, a hang or a loss.

use strict;
use warnings;
use POSIX ();
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
my $NEW = via_like('2:999/100@testnet');

# Everything that looks at a message or rewrites it, one after the other over the whole area.
my $EXERCISE = q{
    my @looks = (\&GetHdr, \&GetText, \&GetKludges, \&GetVias, \&GetMsg, \&GetRawMsg, \&GetTo, \&GetFrom, \&GetSubject, \&GetTime, \&GetRouting, \&GetAttribute);
    Scan('NETMAIL');
    while (ReadMsg()) {
        $_->() for @looks;
        Select($_) for '~@TEXTSTRING zzz', '@KLUDGE MSGID:', '@MESSAGELENGTH 100', '@ADDRESS 1:1/1', '~@NAME x';
        CopyArea('COPY', '-t @3:4/5.6 New', '-f @7:8/9.1', '-a @DIR', '-l @inserted', '-o @orig', '-r @tear');
        CopyArea('ECHO', '-f @7:8/9.1', '-a @Invkludges', '-e X');
        ChangeTo('~@ADDRESS 2:5/6'); ChangeFrom('@ADDRESS 2:7/8.9'); InvalideTearOrig(); SetAttribute('@ AUDIT ZON');
        CopyArea('BOUNCED');
        Bounce('-l @why: %SUBJECT% %MSGIDFROM% %REPLYTO% %INTLTO%');
        out(1);
    }
};

my %CASES = (
    'exactly the header' => substr(pack_msg(), 0, 190),
    'bytes of 0xff' => "\xff" x 1000,
    'zeros' => "\0" x 1000,
    'no NUL anywhere' => pack_msg(map({ ("${_}_field" => 'n' x 80) } qw(from to subject date)), text => 'text without end'),
    'control characters in names' => pack_msg(from_field => "\r\n\x01\t\x1b[2J" . chr(127) x 31, subject => "a\rb\nc%FROM%%%TO%%", text => "Hi\r"),
    'kludges cut short' => pack_msg(text => "\x01\r\x01 \r\x01I\r\x01INTL\r\x01INTL \r\x01INTL 2\r\x01FMPT\r\x01TOPT -\r\x01FLAGS\r\x01MSGID\r\x01MSGID:\r\x01REPLY: \r\x01Via\r\x01Via \r\x01Vi"),
    'kludges of great length' => pack_msg(text => join '', map { "\x01$_ " . '9' x 3000 . "\r" } qw(INTL FMPT TOPT MSGID: REPLY: FLAGS Via DOMAIN AREA PID:)),
    'great numbers' => pack_msg(text => "\x01INTL 99999999999999999999:1/1 1:4294967297/-1\r\x01FMPT 99999999999999999999\r\x01TOPT -99999999\r\x01MSGID: 65536:65536/65536.65536 1\rx\r"),
    'Origins' => pack_msg(text => " * Origin:\r * Origin: (\r * Origin: )(\r * Origin: (9\r * Origin: (" . '9' x 400 . ":1/1)\r * Origin: x (2:1/1)" . 'x' x 240 . "\r"),
    '10,000 Via lines' => pack_msg(text => "Hi\r" . join '', map { "\x01Via 2:8/$_ x\r" . ($_ % 3 ? '' : $OURS) } 1 .. 10_000),
    '10,000 empty lines' => pack_msg(text => "\r" x 10_000),
    '10,000 lines of LF' => pack_msg(text => "\r\n\n\r" x 5_000),
    'one line of a million bytes' => pack_msg(text => 'x' x 1_000_000),
    'percent signs' => pack_msg(subject => '%' x 71, text => "\x01MSGID: " . '%FROM%' x 20 . "\r" . '%%' x 500 . "\r"),
    'SEEN-BY only' => pack_msg(text => "SEEN-BY\r" x 300),
    'a tear line of 255 bytes' => pack_msg(text => '--- ' . 'x' x 251 . "y\r * Origin:" . 'x' x 244 . "y\r"),
);
{
    my @names = sort keys %CASES;
    my $s = scenario(areas => {NETMAIL => {map { ($_ + 1) . '.msg' => $CASES{$names[$_]} } 0 .. $#names}, COPY => [], ECHO => [], BOUNCED => []}, echo => ['ECHO'],
        script => $EXERCISE);
    my $r = $s->run(timeout => 120);
    $r->ended_well('all of them are dealt with');
    is(scalar @{$r->said}, scalar @names, 'every one of them');
    is(scalar(grep { /\.msg$/ } $s->files($_)), scalar @names, "$_: all there") for qw(NETMAIL COPY ECHO BOUNCED);
    for my $i (0 .. $#names) {
        for my $area (qw(NETMAIL COPY ECHO BOUNCED)) {
            my $m = $s->msg($area, $i + 1);
            ok($m && $m->{text} =~ /\A[^\0]*\0\z/, "$area, $names[$i]: one NUL, at the end");
        }
        # Body bytes survive a bounce: what isn't a kludge stands in the quote.
        my ($body) = unpack('x190 a*', $CASES{$names[$i]}) =~ /\A([^\0]*)/;
        my $plain = sub { join '', map { s/[\r\n]//gr } grep { !/^(?:\x01|\@Via|SEEN-BY|.\+..|---| \* Origin| \+ Origin)/ } split /\r\n?/, $_[0] };
        my $quoted = $s->msg('NETMAIL', $i + 1)->{body};
        next if $names[$i] =~ /great length|255 bytes/;
        ok(index($plain->($quoted), $plain->($body)) >= 0, "$names[$i]: the body is quoted whole");
    }
}

{    # A body of 50 MB: read and rewritten, in a time and a memory that fit its size.
    my $line = join('', map { chr(32 + $_ % 90) } 1 .. 99) . "\r";
    my $s = scenario(areas => {NETMAIL => [{text => $line x 524_288}, {text => "Hi\r"}], OUT => []}, script => q{
        Scan('NETMAIL'); ReadMsg(); SetAttribute('@ AUDIT'); out(CopyArea('OUT')); while (ReadMsg()) {} open my $f, '<', '/proc/self/status'; out(grep { /VmHWM/ } <$f>);
    });
    my $r = $s->run(timeout => 100);
    $r->ended_well('50 MB');
    my $m = $s->msg('NETMAIL', 1);
    is(length $m->{text} > 50_000_000 && substr($m->{text}, 0, 524_288 * 100) eq $line x 524_288, 1, 'the text is whole');
    like(substr($m->{text}, 524_288 * 100), qr/\A$NEW\0\z/, 'and ends in our Via');
    is($m->{attr}, 0x4000, 'with the new attribute');
    is(-s $s->path('OUT/1.msg'), $m->{size}, 'the copy too');
    my ($kb) = ($r->said->[1][0] // '') =~ /(\d+)/;
    cmp_ok($kb // 0, '<', 600_000, 'memory') if !$r->{sanitized};
}

{    # Things in the directory that are no files of ours.
    my $s = scenario(areas => {NETMAIL => {'1.msg' => {from => 'one', text => "Hi\r"}, '9.msg' => {from => 'nine', text => "Hi\r"}}});
    mkdir $s->path('NETMAIL/5.msg');
    POSIX::mkfifo($s->path('NETMAIL/4.msg'), 0600) or die;
    symlink '/dev/zero', $s->path('NETMAIL/8.msg');
    symlink 'nowhere-at-all', $s->path('NETMAIL/6.msg');
    symlink '1.msg', $s->path('NETMAIL/7.msg');
    my $r = $s->run(script => q{ Scan('NETMAIL'); while (ReadMsg()) { out((GetHdr())[0]); SetAttribute('@ !Changed') } });
    is($r->code == 0 || $r->err =~ /stat/, 1, 'a dangling link is an end in order') or diag(explain($r));
    unlink $s->path('NETMAIL/6.msg');
    $r = $s->run;
    is_deeply([map { $_->[0] } @{$r->said}], ['one', 'one', 'nine'], 'a link to a message is read; a directory, a pipe, a device aren\'t');
}
done_testing;
