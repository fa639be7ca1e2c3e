package Quelmo::Msg;

# Encoders and decoders of the files in a *.MSG area, written from the layout and from nothing else, so that
# a test can tell what a program left on disk.
#
#   pack_msg(%fields)       bytes of a message file; fields are the keys of unpack_msg, all optional
#   unpack_msg($bytes)      hash reference: from to subject date (cut at their NUL), from_field to_field
#                           subject_field date_field (whole width), times_read dest_node orig_node cost orig_net
#                           dest_net dest_zone orig_zone dest_point orig_point reply_to attr next_reply,
#                           text (everything behind the header), body (text without NULs at its end),
#                           lines (body cut behind each CR), size; undef for fewer than 190 bytes
#   pack_lastread(@numbers), unpack_lastread($bytes)      LASTREAD, 16 bits each
#   pack_stamps(TAG => n, ...), unpack_stamps($bytes)     time-stamp file; unpack gives [TAG, n] pairs

use strict;
use warnings;
use Exporter 'import';
our @EXPORT = qw(pack_msg unpack_msg pack_lastread unpack_lastread pack_stamps unpack_stamps);

my @TEXTS = ([from => 36], [to => 36], [subject => 72], [date => 20]);
my @WORDS = qw(times_read dest_node orig_node cost orig_net dest_net dest_zone orig_zone dest_point orig_point
  reply_to attr next_reply);

my %DEFAULTS = (
    from => 'Some Sender', to => 'Some Reader', subject => 'A subject', date => '01 May 24  08:00:00',
    orig_net => 999, orig_node => 1, dest_net => 999, dest_node => 100, text => '',
);

# Two shorthands: orig => '999/1' and dest => '999/100' stand for the net and node words.
sub pack_msg {
    my %f = (%DEFAULTS, @_);
    for my $side (qw(orig dest)) {
        @f{"${side}_net", "${side}_node"} = split m{/}, $f{$side} if defined $f{$side};
    }
    my $head = '';
    $head .= pack("a$_->[1]", $f{"$_->[0]_field"} // $f{$_->[0]}) for @TEXTS;
    return $head . pack('v13', map { $f{$_} // 0 } @WORDS) . $f{text};
}

sub unpack_msg {
    my ($bytes) = @_;
    return undef if !defined $bytes || length $bytes < 190;
    my %f = (size => length $bytes);
    my $at = 0;
    for my $t (@TEXTS) {
        my ($name, $width) = @$t;
        $f{"${name}_field"} = substr $bytes, $at, $width;
        ($f{$name}) = $f{"${name}_field"} =~ /\A([^\0]*)/;
        $at += $width;
    }
    @f{@WORDS} = unpack 'v13', substr $bytes, $at, 26;
    $f{text} = substr $bytes, 190;
    ($f{body} = $f{text}) =~ s/\0+\z//;
    $f{lines} = [$f{body} =~ /[^\r]*\r\n?|[^\r]+\z/g];
    return \%f;
}

sub pack_lastread { return pack 'v*', @_ }
sub unpack_lastread { return unpack 'v*', $_[0] }

sub pack_stamps {
    my $out = '';
    while (my ($tag, $stamp) = splice @_, 0, 2) { $out .= pack 'a20V', $tag, $stamp }
    return $out;
}

sub unpack_stamps {
    my ($bytes) = @_;
    die 'a time-stamp file of ' . length($bytes) . " bytes\n" if length($bytes) % 24;
    return map { my ($tag, $n) = unpack 'Z20V', $_; [$tag, $n] } unpack '(a24)*', $bytes;
}

1;
