package Quelmo::Squish;

# Squish bases, written and read without the program's help.
#
#   my ($sqd, $sqi) = pack_squish([{from => 'Ann', ctrl => "\x01MSGID: x", text => "Hi\r"}, {hole => 300}, ...], max_msg => 3);
# A message takes: from to subject date orig dest ("2:1/2.3") attr written arrived (Unix time, UTC) replyto umsgid
# ctrl text (with their NULs added, unless raw is set) slack (bytes behind it in its frame). Fields of the header by name.
#
#   my $b = unpack_squish($sqd, $sqi);     # {header => {...}, messages => [...], free => [[offset, length], ...]}
# Follows both chains and the index, and dies of what is wrong: a link, a count, a type, bytes in no frame. A message has
# the names above and offset, frame_length, msg_length, clen, hash.

use strict;
use warnings;
use Exporter 'import';
use POSIX ();

our @EXPORT = qw(pack_squish unpack_squish sq_stamp sq_hash);

my @HEADER = qw(len reserved num_msg high_msg skip_msg high_water uid base begin_frame last_frame free_frame last_free_frame
    end_frame max_msg keep_days sz_sqhdr rest);
my $HEADER = 'vvV5a80V6vva124';
my @FRAME = qw(id next prev frame_length msg_length clen type frame_reserved);
my $FRAME = 'V6vv';
my @XMSG = qw(attr from to subject orig dest written arrived utc_ofs replyto replies umsgid date);
my $XMSG = 'Va36a36a72a8a8VVvVa36Va20';
my $ID = 0xAFAE4453;

sub sq_stamp {
    my ($s, $m, $h, $d, $mon, $y) = gmtime $_[0];
    return ($d | ($mon + 1) << 5 | ($y - 80) << 9) | ($s >> 1 | $m << 5 | $h << 11) << 16;
}

sub sq_hash {
    my $h = 0;
    for (unpack 'C*', $_[0] =~ tr/A-Z/a-z/r) {
        $h = ($h * 16 + $_) & 0xFFFFFFFF;
        $h |= ($h & 0xF0000000) >> 24;
    }
    return $h & 0x7FFFFFFF;
}

sub _addr { my @n = $_[0] =~ m{^(\d+):(\d+)/(\d+)(?:\.(\d+))?$} or die "address $_[0]\n"; return pack 'v4', map { $_ // 0 } @n }
sub _addr_text { my @n = unpack 'v4', $_[0]; return "$n[0]:$n[1]/$n[2]" . ($n[3] ? ".$n[3]" : '') }

sub pack_squish {
    my ($items, %o) = @_;
    my $at = 256;
    my $uid = 1;
    my (@live, @free);
    for my $item (@$items) {
        my %f = (id => $ID, offset => $at, frame_reserved => 0);
        if ($item->{hole}) {
            %f = (%f, frame_length => $item->{hole}, msg_length => 0, clen => 0, type => 1, body => "\0" x $item->{hole});
            push @free, \%f;
        } else {
            my %m = (
                from => 'Ann', to => 'Bob', subject => 'Hello', orig => '2:1/2', dest => '2:999/100', attr => 0x20000, ctrl => '',
                text => "Hi\r", written => 1_000_000_000, arrived => 1_000_000_000, utc_ofs => 0, replyto => 0, replies => '',
                date => '09 Sep 01  01:46:40', umsgid => $uid, slack => 0, %$item
            );
            $uid = $m{umsgid} + 1;
            my $end = $m{raw} ? '' : "\0";
            my ($ctrl, $text) = ("$m{ctrl}$end", "$m{text}$end");
            my %x = (%m, orig => _addr($m{orig}), dest => _addr($m{dest}), map { $_ => $m{$_} && sq_stamp($m{$_}) } qw(written arrived));
            my $body = pack($XMSG, @x{@XMSG}) . $ctrl . $text;
            %f = (%f, msg_length => length $body, clen => length $ctrl, type => 0, umsgid => $m{umsgid}, hash => sq_hash($m{to}));
            $f{frame_length} = $f{msg_length} + $m{slack};
            $f{body} = $body . "\xAA" x $m{slack};
            push @live, \%f;
        }
        $at += 28 + $f{frame_length};
    }
    for my $chain (\@live, \@free) {
        for my $i (0 .. $#$chain) {
            $chain->[$i]{next} = $i < $#$chain ? $chain->[$i + 1]{offset} : 0;
            $chain->[$i]{prev} = $i ? $chain->[$i - 1]{offset} : 0;
        }
    }
    my $end = sub { my ($list, $i) = @_; return @$list ? $list->[$i]{offset} : 0 };
    my %h = (
        len => 256, reserved => 0x1234, num_msg => scalar @live, high_msg => scalar @live, skip_msg => 1, high_water => 7, uid => $uid,
        base => "C:\\SQ\\BASE\0left", begin_frame => $end->(\@live, 0), last_frame => $end->(\@live, -1),
        free_frame => $end->(\@free, 0), last_free_frame => $end->(\@free, -1), end_frame => $at, max_msg => 0, keep_days => 9,
        sz_sqhdr => 28, rest => join('', map { chr } 1 .. 124), %o
    );
    my $sqd = pack($HEADER, @h{@HEADER}) . join '', map { pack($FRAME, @$_{@FRAME}) . $_->{body} }
        sort { $a->{offset} <=> $b->{offset} } @live, @free;
    return ($sqd, join '', map { pack 'V3', @$_{qw(offset umsgid hash)} } @live);
}

sub _chain {
    my ($sqd, $first, $last, $type, $covered) = @_;
    my @out;
    my $prev = 0;
    for (my $at = $first; $at;) {
        die "frame $at: outside\n" if $at < 256 || $at + 28 > length $sqd;
        die "frame $at: twice\n" if $covered->{$at};
        my %f = (offset => $at);
        @f{@FRAME} = unpack $FRAME, substr $sqd, $at, 28;
        die "frame $at: id\n" if $f{id} != $ID;
        die "frame $at: type $f{type}\n" if $f{type} != $type;
        die "frame $at: prev $f{prev}, not $prev\n" if $f{prev} != $prev;
        $covered->{$at} = $at + 28 + $f{frame_length};
        push @out, \%f;
        ($prev, $at) = ($at, $f{next});
    }
    die "chain of type $type ends at $prev, not $last\n" if $prev != $last;
    return @out;
}

sub unpack_squish {
    my ($sqd, $sqi) = @_;
    my %h;
    @h{@HEADER} = unpack $HEADER, substr $sqd, 0, 256;
    my %covered;
    my @live = _chain($sqd, @h{qw(begin_frame last_frame)}, 0, \%covered);
    my @free = _chain($sqd, @h{qw(free_frame last_free_frame)}, 1, \%covered);
    my $at = 256;
    $at = $covered{$at} while $covered{$at};
    die "bytes in no frame at $at of $h{end_frame}\n" if $at != $h{end_frame} || keys(%covered) != @live + @free;
    die "$h{num_msg} messages, " . @live . " frames\n" if $h{num_msg} != @live || $h{high_msg} != @live;
    die "index of " . length($sqi) . " bytes for " . @live . "\n" if length $sqi != 12 * @live;
    for my $i (0 .. $#live) {
        my $m = $live[$i];
        my $body = substr $sqd, $m->{offset} + 28, $m->{msg_length};
        @$m{@XMSG} = unpack $XMSG, $body;
        s/\0.*//s for @$m{qw(from to subject date)};
        $_ = _addr_text($_) for @$m{qw(orig dest)};
        $m->{ctrl} = substr $body, 238, $m->{clen};
        $m->{text} = substr $body, 238 + $m->{clen};
        my ($offset, $umsgid, $hash) = unpack 'V3', substr $sqi, 12 * $i, 12;
        die "record $i: offset $offset, not $m->{offset}\n" if $offset != $m->{offset};
        die "record $i: umsgid $umsgid, not $m->{umsgid}\n" if $umsgid != $m->{umsgid};
        die "record $i: hash $hash\n" if ($hash & 0x7FFFFFFF) != sq_hash($m->{to});
        $m->{hash} = $hash;
    }
    return {header => \%h, messages => \@live, free => [map { [@$_{qw(offset frame_length)}] } @free]};
}

1;
