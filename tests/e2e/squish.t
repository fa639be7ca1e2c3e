# Squish areas: what other programs' bases give, and what is left in the files after every kind of change.

use strict;
use warnings;
use Fcntl qw(:DEFAULT :flock SEEK_SET F_SETLK F_WRLCK);
use Quelmo::Squish;
use Quelmo::Test;

my $OURS = via_line('2:999/100@testnet');
my $READ = q{ Scan('SQ'); while (ReadMsg()) { out((GetHdr())[0]) } };
my $FROM_NETMAIL = q{ Scan('NETMAIL'); while (ReadMsg()) { out(CopyArea('SQ')) } };

sub plain { return {from => $_[0], text => "Hi\r$OURS", @_[1 .. $#_]} }

# A home with a base of these messages, or of these two files.
sub base {
    my ($items, %o) = @_;
    my $s = scenario(areas => {NETMAIL => delete $o{netmail} // []},
        config => (delete $o{config} // '') . "SQUISHAREA SQ SQ\n", script => delete $o{script} // $READ);
    my ($sqd, $sqi) = ref $items ? pack_squish($items, %o) : ($items, $o{sqi});
    $s->spew('SQ.sqd', $sqd)->spew('SQ.sqi', $sqi);
    return $s;
}
sub contents { return unpack_squish(map { $_[0]->slurp("SQ.$_") } 'sqd', 'sqi') }
sub bytes { return [map { unpack 'H*', $_[0]->slurp("SQ.$_") } 'sqd', 'sqi'] }
sub names { return join ' ', map { $_->{from} } @{contents($_[0])->{messages}} }
sub places { return [map { $_->{offset} } @{contents($_[0])->{messages}}] }
sub said { return join ' ', map { $_ // '-' } map { @$_ } @{$_[0]->said} }
sub check {
    my ($s) = @_;
    open my $tool, '-|', $ENV{QUELMO_BASE_BIN}, '--check', 'squish', $s->path('SQ') or die;
    local $/;
    my $text = <$tool> // '';
    close $tool;
    return ($? >> 8, $text);
}

{    # A base is made, and takes its first messages.
    my $s = scenario(config => "SQUISHAREA SQ SQ\n", areas => {NETMAIL => [plain('a'), plain('b')]}, script => $READ);
    $s->run->ended_well;
    is(length $s->slurp('SQ.sqd'), 256, 'a new base is its header');
    is($s->slurp('SQ.sqi'), '', 'and an empty index');
    is((stat $s->path("SQ.$_"))[2] & 07777, 0600, "mode of the .$_ file") for 'sqd', 'sqi';
    my $h = contents($s)->{header};
    is_deeply([@$h{qw(len uid end_frame sz_sqhdr begin_frame num_msg)}], [256, 1, 256, 28, 0, 0], 'header');
    my $r = $s->run(script => $FROM_NETMAIL);
    $r->log_like(qr/^   $_ created in SQ$/) for 1, 2;
    my $is = contents($s);
    my @m = @{$is->{messages}};
    is_deeply([map { $_->{offset} } @m], [256, 284 + $m[0]{frame_length}], 'frames one behind the other');
    is_deeply([@{$is->{header}}{qw(end_frame uid high_msg)}], [length $s->slurp('SQ.sqd'), 3, 2], 'header after the adds');
    is_deeply([map { $_->{attr} >> 16 } @m], [2, 2], 'the ids are marked as valid');
    unlink $s->path('SQ.sqi');
    like($s->run->err, qr/squish area file not found:`.*SQ\.sqi'/, 'half a base stops the run');
}

{    # The bytes of docs/formats/squish.md.
    my $page = do { local (@ARGV, $/) = "$ENV{QUELMO_SOURCE}/docs/formats/squish.md"; <> };
    my %file;
    for my $example ($page =~ /^    ((?:sqd|sqi) [0-9a-f]{3}  .*)$/mg) {
        my ($file, $at, $hex) = $example =~ /^(\w+) (\w+)  ((?:[0-9a-f]{2} )*[0-9a-f]{2})/;
        my $bytes = pack 'H*', $hex =~ s/ //gr;
        $file{$file} .= "\0" x (hex($at) - length($file{$file} // '')) . $bytes;
    }
    my $s = base($file{sqd}, sqi => $file{sqi}, script => q{ Scan('SQ'); ReadMsg(); out(GetHdr()); out(GetRawMsg()); SetAttribute('@ !Changed') });
    my $r = $s->run;
    is_deeply($r->said->[0], ['Ann Other', '2:999/10', 'Bob Sample', '2:999/100.3', 'Hello', '01 Jan 99  12:00:00', $r->said->[0][6]], 'the example');
    is_deeply($r->said->[1], ["\x01TOPT 3", "\x01MSGID: 2:999/10 12345678", 'Hi Bob', $r->said->[1][3]], 'its text');
    is((check($s))[1], '', 'and nothing is wrong with it');
}

# Holes: [name, what the base is made of, offset of the message, free frames], for a message of $need bytes.
my $need = 238 + 1 + length("Hi\r$OURS") + 1;
for my $case (
    ['exact', [{hole => $need}], 256, []], ['one byte too small', [{hole => $need - 1}], 283 + $need, [256]],
    ['in the middle of the chain', [{hole => 20}, {hole => $need + 40}, {hole => 900}], 304, [256, 372 + $need]],
    ['the last of the chain', [{hole => 20}, {hole => 900}], 304, [256]], ['the first of the chain', [{hole => 900}, {hole => 20}], 256, [1184]],
) {
    my ($name, $items, $at, $free) = @$case;
    my $s = base($items, netmail => [plain('new')]);
    $s->run(script => $FROM_NETMAIL)->ended_well;
    my $is = contents($s);
    my $m = $is->{messages}[0];
    is_deeply([$m->{offset}, $m->{msg_length}, map { $_->[0] } @{$is->{free}}], [$at, $need, @$free], "hole, $name");
    my ($hole) = grep { $_->{hole} >= $need } @$items;
    is($m->{frame_length}, $hole ? $hole->{hole} : $need, "hole, $name: the frame keeps its length");
}

# Kills: which of five go, what is left, how the lastread file follows.
for my $case ([[1], 'b c d e'], [[5], 'a b c d'], [[2, 4], 'a c e'], [[1 .. 5], ''], [[4, 5], 'a b c']) {
    my ($dead, $left) = @$case;
    my $s = base([map { plain($_) } 'a' .. 'e']);
    $s->spew('SQ.SQL', pack 'V3', 2, 5, 99);
    my $r = $s->run(script => 'my %dead = map { $_ => 1 } (' . join(',', @$dead) . q{); my $n = 0; my $size = -s 'SQ.sqi';
        Scan('SQ'); while (ReadMsg()) { Kill() if $dead{++$n} } out($size == -s 'SQ.sqi' ? 'same' : 'other');
        Rewind(); while (ReadMsg()) { out((GetHdr())[0]) }});
    is(said($r), join(' ', 'same', split / /, $left), "kill @$dead: the index waits, a rewound scan steps over the dead");
    is(names($s), $left, "kill @$dead: what is left");
    is(scalar @{contents($s)->{free}}, @$dead, "kill @$dead: free frames");
    my @lastread = map { my $n = $_; (grep { $_ == $n } @$dead) ? $n - 1 : $n } 2, 5, 99;
    is_deeply([unpack 'V3', $s->slurp('SQ.SQL')], \@lastread, "kill @$dead: lastread") if @$dead < 3 && "@$dead" ne '4 5';
    is((check($s))[1], '', "kill @$dead: the base is whole");
}

# Updates: in the frame where it fits, else into a new one in the same place of the chain.
for my $slack (0, 500) {
    my $s = base([map { {from => $_, text => "Hi\r", slack => $slack, replyto => 77, attr => 0x120001, utc_ofs => 180} } 'a' .. 'c'], script => $READ);
    my $before = places($s);
    $s->run->ended_well;
    is(names($s), 'a b c', "update, slack $slack: order");
    my $is = contents($s);
    like($_->{text}, qr/\AHi\r\x01Via 2:999\/100.*\r\0\z/, "update, slack $slack: text") for @{$is->{messages}};
    is_deeply([map { @$_{qw(replyto attr utc_ofs umsgid)} } $is->{messages}[1]], [77, 0x120001, 180, 2], "update, slack $slack: what is kept");
    is(scalar(grep { $before->[$_] == $is->{messages}[$_]{offset} } 0 .. 2), $slack ? 3 : 0, "update, slack $slack: places");
    is_deeply([map { $_->[0] } @{$is->{free}}], $slack ? [] : $before, "update, slack $slack: old frames are free");
    is((check($s))[1], '', "update, slack $slack: the base is whole");
    my $same = bytes($s);
    $s->run;
    is_deeply(bytes($s), $same, "update, slack $slack: a second scan writes nothing");
}

# The control text on its way in and out: [ctrl, orig point, dest point, raw text as read]; an update gives it back.
for my $case (
    ["\x01INTL 2:999/100 2:1/2\x01MSGID: 1", 5, 7, "\x01INTL 2:999/100 2:1/2|\x01FMPT 5|\x01TOPT 7|\x01MSGID: 1|Hi"],
    ["\x01MSGID: 1", 5, 7, "\x01FMPT 5|\x01TOPT 7|\x01MSGID: 1|Hi"],
    ["\x01FMPT 5\x01MSGID: 1", 5, 0, "\x01FMPT 5|\x01MSGID: 1|Hi"], ['', 0, 0, 'Hi'],
    ["\x01MSGID: 1\0\0\x01PID: p\0rest", 0, 0, "\x01MSGID: 1|\x01PID: p|Hi"],
    ["\x01X: " . 'x' x 300, 0, 0, "\x01X: " . 'x' x 251 . '|' . 'x' x 49 . '|Hi'],
    ["\x01X: " . 'x' x 251, 0, 0, "\x01X: " . 'x' x 251 . '||Hi'],
) {
    my ($ctrl, $orig, $dest, $read) = @$case;
    my $s = base([{ctrl => $ctrl, orig => "2:1/2.$orig", dest => "2:999/100.$dest", text => "Hi\rSEEN-BY: 1/2\r$OURS"}],
        script => q{ Scan('SQ'); ReadMsg(); out(join '|', GetRawMsg()); SetAttribute('@ AUDIT') });
    my $r = $s->run;
    my $shown = $ctrl =~ s/[\x00-\x1f]/^/gr;
    is($r->said->[0][0] =~ s/\|SEEN-BY.*//r, $read, "control text $shown");
    my $m = contents($s)->{messages}[0];
    is($m->{ctrl}, ($ctrl =~ s/\x01FMPT \d+//r =~ s/\0rest//r =~ tr/\0//dr) . "\0", "written back, $shown");
    is($m->{text}, "Hi\rSEEN-BY: 1/2\r$OURS\0", "text of $shown");
    is_deeply([@$m{qw(orig dest attr)}], ["2:1/2" . ($orig ? ".$orig" : ''), "2:999/100" . ($dest ? ".$dest" : ''), 0x24000], "header of $shown");
}

{    # A limit on the number of messages: the oldest goes, in a scanned base and in another; the lastread file stays.
    for my $scanned (0, 1) {
        my $s = base([map { plain($_) } 'a' .. 'c'], max_msg => 3, netmail => [plain('d'), plain('e')]);
        $s->spew('SQ.SQL', pack 'V', 1);
        my $r = $s->run(script => $scanned ? q{ Scan('SQ'); ReadMsg(); CopyArea('SQ'); ReadMsg(); CopyArea('SQ') } : $FROM_NETMAIL);
        is(names($s), $scanned ? 'c a b' : 'c d e', "limit, scanned $scanned: the oldest are gone");
        is(unpack('V', $s->slurp('SQ.SQL')), 1, 'lastread stays');
        $r->log_like(qr/^   3 created in SQ$/);
        is((check($s))[1], '', 'the base is whole');
    }
}

{    # Time stamps: newer than the stamp, by arrival, else by date.
    my $s = base([plain('a', arrived => 1_000_000_000), plain('b', arrived => 1_000_000_002), plain('c', arrived => 0, written => 1_000_000_010)]);
    $s->spew('stamps', pack 'a20V', 'SQ', 1_000_000_000);
    my $r = $s->run(script => $READ =~ s/'SQ'/'SQ', 'stamps'/r);
    is(said($r), 'b c', 'the stamp itself has been read already');
    is_deeply([unpack 'a20V', $s->slurp('stamps')], ["SQ" . "\0" x 18, 1_000_000_010], 'the new stamp');
}

{    # Locks of other programs.
    my $hold = sub {
        my ($s, $name, $length) = @_;
        sysopen my $f, $s->path($name), O_RDWR or die;
        my $lock = pack 's s x![q] q q i x![q]', F_WRLCK, SEEK_SET, 0, $length, 0;
        fcntl $f, F_SETLK, $lock or die "lock: $!";
        return $f;
    };
    my $s = base([plain('a')], netmail => [plain('b')]);
    my $before = bytes($s);
    my $f = $hold->($s, 'SQ.sqi', 12);
    my $r = $s->run;
    $r->stopped(qr/error initializing area : SQ/);
    $r->log_like(qr/^sqselect error: sqinit failed with errno: 24$/);
    like($r->out, qr/^squish base locked by another process$/m, 'and stdout says so');
    $f = $hold->($s, 'SQ.sqd', 1);
    $s->run(script => $FROM_NETMAIL)->log_like(qr/^add_msg error: failed to add mail to squish area, errno 24$/);
    $r = $s->run(script => q{ Scan('SQ'); ReadMsg(); SetAttribute('@ AUDIT'); Rewind(); ReadMsg(); Kill() });
    $r->log_like(qr/^update_msg: failed to update squish message$/);
    is_deeply(bytes($s), $before, 'not a byte has changed, not by a kill either');
}

{    # Another program adds a message while we kill: both are in the index.
    my $s = base([map { plain($_) } 'a' .. 'c']);
    my ($sqd, $sqi) = pack_squish([map { plain($_) } 'a' .. 'd']);
    $s->spew('four', $sqd)->spew('record', substr $sqi, 36);
    $s->run(script => q{
        Scan('SQ'); ReadMsg(); my $four = do { local (@ARGV, $/) = 'four'; <> };
        open my $f, '+<', 'SQ.sqd'; print $f $four; close $f; system 'cat record >> SQ.sqi'; Kill();
    })->ended_well;
    is(names($s), 'b c d', 'a message that came meanwhile');
}

# A scan that is killed: after a kill, after a message has moved, after an add to the base itself.
for my $case (["Kill()", 'b c d'], ["SetAttribute('@ AUDIT'); ReadMsg()", 'a b c d'], ["CopyArea('SQ')", 'a b c d a'], ["do { Kill() } while ReadMsg()", ''], ["Kill(); CopyArea('SQ'); ReadMsg(); Kill(); ReadMsg(); CopyArea('SQ')", 'c d c']) {
    my ($actions, $left) = @$case;
    my $s = base([map { {from => $_, text => "Hi\r"} } 'a' .. 'd']);
    $s->run(script => "Scan('SQ'); ReadMsg(); $actions; kill 9, \$\$", killed => 1);
    unlink $s->path('quelmo.bsy');
    is(said($s->run(script => $READ)), $left, "killed after $actions: what can be read");
    $s->run(script => q{ Scan('SQ'); ReadMsg(); Kill() })->ended_well("killed after $actions: the base goes on");
}

# Damage: [name, change of ($sqd, $sqi) with frames at @at, error at the Scan or the read]; not a byte changes, the check tells.
sub put { substr $_[0], $_[1], length $_[2], $_[2] }
my @DAMAGE = (
    ['1 byte', sub { $_[0] = 'x' }, 5], ['255 bytes', sub { $_[0] = substr $_[0], 0, 255 }, 5], ['len', sub { put($_[0], 0, 'xx') }, 5],
    ['too few records', sub { substr $_[1], 24, 12, '' }, 16], ['too many records', sub { $_[1] .= substr $_[1], 0, 12 }, 16],
    ['a record of nothing', sub { $_[1] .= pack 'V3', 9999, 4, 0 }, 16], ['odd index', sub { $_[1] .= 'x' }, 12], ['placeholder', sub { put($_[1], 12, pack 'V', 0) }, 14], ['no id', sub { put($_[1], 16, pack 'V', -1) }, 15],
    ['num_msg of 4 milliards', sub { put($_[0], 4, pack 'V', -1) }, 16], ['record beyond the file', sub { put($_[1], 12, pack 'V', 0xFFFFFF00) }, 5],
    ['frame id', sub { put($_[0], $_[3], 'x') }, 7], ['free frame', sub { put($_[0], $_[3] + 24, "\1") }, 8], ['in writing', sub { put($_[0], $_[3] + 24, "\3") }, 23],
    ['clen', sub { put($_[0], $_[3] + 20, pack 'V', 200) }, 19], ['clen of 4 GB', sub { put($_[0], $_[3] + 20, pack 'V', -1) }, 18],
    ['msg_length', sub { put($_[0], $_[3] + 16, pack 'V', 100) }, 19], ['msg_length of 4 GB', sub { put($_[0], $_[3] + 16, pack 'V', -1) }, 19],
    ['cut in the header', sub { $_[0] = substr $_[0], 0, $_[4] + 40 }, 17],
);
for my $case (@DAMAGE) {
    my ($name, $change, $code) = @$case;
    my ($sqd, $sqi) = pack_squish([map { plain($_) } 'a' .. 'c']);
    $change->($sqd, $sqi, unpack 'Vx8' x 3, $sqi);
    my $s = base($sqd, sqi => $sqi);
    my $before = bytes($s);
    my $r = $s->run;
    is($r->code, 1, "$name: the run is stopped");
    $r->log_like(qr/errno: $code$/, "$name: error $code");
    is_deeply(bytes($s), $before, "$name: not a byte has changed");
    my ($exit, $text) = check($s);
    is($exit, 1, "$name: the check finds it") or diag $text;
}

{    # Chains that lie: adds and kills are refused, or leave alone what isn't theirs. Every message stays readable.
    my @items = (plain('a'), {hole => 400}, plain('b'), {hole => 600}, plain('c'));
    my ($good) = pack_squish(\@items);
    my @at = map { $_->{offset} } @{unpack_squish(pack_squish(\@items))->{messages}};
    my @free = map { $_->[0] } @{unpack_squish(pack_squish(\@items))->{free}};
    for my $case (
        ['a free chain that loops', $free[0] + 12, pack('V', 1), $free[0] + 4, pack('V', $free[0])],
        ['a free chain into a message', 112, pack 'V', $at[1]], ['free_frame beyond the file', 112, pack 'V', 0xFFFFFFF0],
        ['a hole longer than it is', $free[0] + 12, pack 'V', 700], ['end_frame on a message', 120, pack 'V', $at[2]],
        ['end_frame at 4 GB', 120, pack 'V', -1], ['end_frame 0', 120, pack 'V', 0], ['last_frame on a free frame', 108, pack 'V', $free[1]],
        ['neighbours beyond the file', $at[1] + 4, pack 'V2', -5, -5], ['chain links that loop', $at[1] + 4, pack 'V2', $at[1], $at[1]],
    ) {
        my ($name, @puts) = @$case;
        my ($sqd, $sqi) = pack_squish(\@items);
        while (my ($at, $bytes) = splice @puts, 0, 2) { put($sqd, $at, $bytes) }
        my $s = base($sqd, sqi => $sqi, netmail => [plain('d')]);
        my $size = -s $s->path('SQ.sqd');
        my $added = said($s->run(script => $FROM_NETMAIL)) ne '-' ? ' d' : '';
        is((check($s))[0], 1, "$name: the check finds it") if $name ne 'end_frame at 4 GB' || !$added;
        my $r = $s->run(script => $READ);
        like(said($r), qr/^a b c( d)?$/, "$name: every message is read");
        ok(-s $s->path('SQ.sqd') < $size + 1000, "$name: no leap");
        $s->run(script => q{ Scan('SQ'); ReadMsg(); ReadMsg(); Kill() });
        $r = $s->run(script => $READ);
        like(said($r), qr/^a (b )?c( d)?$/, "$name: a kill touches no other message");
    }
}

{    # A full disk (here: a limit on the size of files) in the middle of an add and of an update to a new place.
    my $s = base([plain('a'), {from => 'b', text => 'x' x 3000 . "\r"}], netmail => [{text => 'y' x 1000 . "\r$OURS"}]);
    my $before = bytes($s);
    my @full = ('bash', '-c', 'trap "" XFSZ; ulimit -f 4; exec "$@"', 'bash');
    $s->run(script => $FROM_NETMAIL, wrap => \@full)->log_like(qr/^add_msg error: failed to add mail to squish area, errno 6$/);
    is_deeply(bytes($s), $before, 'a full disk: not a byte has changed by an add');
    $s->run(script => $READ, wrap => \@full)->log_like(qr/^update_msg: failed to update squish message$/);
    is_deeply(bytes($s), $before, 'nor by an update');
}

{    # A base that would pass 4 GiB takes no message; a leftover of a pack is named, and which copy is whole.
    my $s = base([plain('a')], netmail => [plain('b')], end_frame => 0xFFFFFF00);
    truncate $s->path('SQ.sqd'), 0xFFFFFF00;
    $s->run(script => $FROM_NETMAIL)->log_like(qr/beyond 4 GiB/);
    is((-s $s->path('SQ.sqd')), 0xFFFFFF00, 'a full base stays as it is');
    $s = base([plain('a')]);
    $s->spew("SQ.pack.$_", $s->slurp("SQ.$_")) for 'sqd', 'sqi';
    $s->run->log_like(qr/^SQ: an interrupted pack has left `.*SQ\.pack\.sqd'/);
    $s->spew('SQ.sqd', substr $s->slurp('SQ.sqd'), 0, 300);
    like((check($s))[1], qr/it is whole, the base is damaged/, 'the check says which is whole');
}
done_testing;
