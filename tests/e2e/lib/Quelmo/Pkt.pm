package Quelmo::Pkt;

# Encoder and decoder of packets, written from the layout and from nothing else.
#
#   pack_pkt({from => '2:5/1.3', to => '2:5/2', password => 'x', raw header words by name}, $message...)
#                            bytes of a packet; a message is a hash of pack_packed's fields, or plain bytes
#   pack_packed(%fields)     a packed message: type orig dest (net/node) attr cost date to from subject text
#   unpack_pkt($bytes)       hash reference: the header words, password, from, to, msgs (hash references with the same
#                            keys and raw, the message's own bytes), end (what stands behind the last message);
#                            undef for fewer than 58 bytes

use strict;
use warnings;
use Exporter 'import';
our @EXPORT = qw(pack_pkt pack_packed unpack_pkt);

my @WORDS = qw(origNode destNode year month day hour minute second baud type origNet destNet prodCodeLo revMajor password
  qOrigZone qDestZone auxNet cwCopy prodCodeHi revMinor capWord origZone destZone origPoint destPoint prodData);
my $LAYOUT = 'v12 C2 a8 v4 C2 v5 V';

my %HEADER = (
    year => 2024, month => 4, day => 2, hour => 10, minute => 20, second => 30, type => 2, prodCodeLo => 0xFE, revMajor => 7,
    cwCopy => 0x100, capWord => 1, prodCodeHi => 1, revMinor => 6, prodData => 0x01020304,
);
my %MESSAGE = (
    type => 2, orig => '999/1', dest => '999/100', date => '01 May 24  08:00:00', to => 'Some Reader', from => 'Some Sender',
    subject => 'A subject', text => '',
);

sub pack_pkt {
    my ($given, @messages) = @_;
    my %h = (%HEADER, from => '2:999/1', to => '2:999/100', %$given);
    for (['orig', 'Orig', delete $h{from}], ['dest', 'Dest', delete $h{to}]) {
        my ($side, $copy, $address) = @$_;
        my ($zone, $net, $node, $point) = $address =~ m{^(\d+):(\d+)/(\d+)(?:\.(\d+))?$} or die $address;
        my %own = ("${side}Zone" => $zone, "q${copy}Zone" => $zone, "${side}Net" => $net, "${side}Node" => $node, "${side}Point" => $point // 0);
        @own{'origNet', 'auxNet'} = (0xFFFF, $net) if $point && $side eq 'orig';
        %h = (%own, %h);
    }
    return pack($LAYOUT, map { $h{$_} // ($_ eq 'password' ? '' : 0) } @WORDS) . join('', map { ref $_ ? pack_packed(%$_) : $_ } @messages) . "\0\0";
}

sub pack_packed {
    my %f = (%MESSAGE, @_);
    my ($onet, $onode, $dnet, $dnode) = map { split m{/} } @f{qw(orig dest)};
    return pack('v7 a20', $f{type}, $onode, $dnode, $onet, $dnet, $f{attr} // 0, $f{cost} // 0, $f{date})
      . join '', map { "$_\0" } @f{qw(to from subject text)};
}

sub unpack_pkt {
    my ($bytes) = @_;
    return undef if !defined $bytes || length $bytes < 58;
    my %p = (msgs => []);
    @p{@WORDS} = unpack $LAYOUT, substr $bytes, 0, 58;
    $p{password} =~ s/\0.*//s;
    my $net = $p{origNet} == 0xFFFF ? $p{auxNet} : $p{origNet};
    my $address = sub { "$_[0]:$_[1]/$_[2]" . ($_[3] ? ".$_[3]" : '') };
    $p{from} = $address->($p{origZone}, $net, @p{qw(origNode origPoint)});
    $p{to} = $address->(@p{qw(destZone destNet destNode destPoint)});
    my $rest = substr $bytes, 58;
    while ($rest =~ /\A(\x02\0.{12}.{20})([^\0]*)\0([^\0]*)\0([^\0]*)\0([^\0]*)\0/s) {
        my %m = (raw => $&, to => $2, from => $3, subject => $4, text => $5);
        @m{qw(type onode dnode onet dnet attr cost date)} = unpack 'v7 Z20', $1;
        push @{$p{msgs}}, {%m, orig => "$m{onet}/$m{onode}", dest => "$m{dnet}/$m{dnode}"};
        $rest = substr $rest, length $m{raw};
    }
    $p{end} = $rest;
    return \%p;
}

1;
