package Quelmo::Jam;

# Encoder and decoder of JAM bases, written from the layout and from nothing else.
#
#   put_jam($s, 'ECHO', base => 1, messages => [{...}, undef, ...], %head)     writes the files of a base into the home
#       of a scenario. A message: sf => [id, value, ...], text, and fields of its header; undef is a dead index record.
#       Keys offset, crc and raw (header bytes) replace what would be right; head: active, mod, reserved, jlr => [numbers]
#   get_jam($s, 'ECHO')     {mod, active, base, password, created, reserved, jhr, jdt, jdx (bytes), messages => [...]}
#       with a message {offset, crc, sf => [id, value, ...], text, one key for each field} or undef for a dead record
#   jam_crc($text), sf_of($message, $id) list of values, jam_check($s, 'ECHO') = (exit code, output) of quelmo-base --check

use strict;
use warnings;
use Compress::Zlib qw(crc32);
use Exporter 'import';
our @EXPORT = qw(put_jam get_jam jam_crc sf_of jam_check);

my @WORDS = qw(msgidcrc replycrc replyto reply1st replynext written received processed number attribute attribute2
  txtoffset txtlen passwordcrc cost);
my $HEADER = 'a4 v v V V' . ' V' x @WORDS;

sub jam_crc { return crc32(lc $_[0]) ^ 0xFFFFFFFF }

sub sf_of {
    my ($m, $id) = @_;
    my @sf = @{$m->{sf}};
    return map { $sf[2 * $_] == $id ? $sf[2 * $_ + 1] : () } 0 .. $#sf / 2;
}

sub pack_sf {
    my $out = '';
    while (my ($id, $value) = splice @_, 0, 2) { $out .= pack('v v V', $id, $id == 3000 ? 7 : 0, length $value) . $value }
    return $out;
}

sub put_jam {
    my ($s, $name, %o) = @_;
    my ($base, $live) = ($o{base} // 1, 0);
    my ($jhr, $jdt, $jdx) = ('', $o{slack} // '', '');
    for my $i (0 .. $#{$o{messages}}) {
        my $m = $o{messages}[$i];
        if (!$m) { $jdx .= "\xFF" x 8; next }
        $live++;
        my $sf = pack_sf(@{$m->{sf} // [2, 'Some Sender', 3, 'Some Reader', 6, 'A subject']});
        my ($to, $id, $reply) = map { (sf_of({sf => $m->{sf} // [3, 'Some Reader']}, $_))[0] } 3, 4, 5;
        my %h = (
            written => 1714550400, number => $base + $i, attribute => 0x02000000, txtoffset => length $jdt,
            txtlen => length($m->{text} // ''), passwordcrc => 0xFFFFFFFF, msgidcrc => jam_crc($id // ''),
            replycrc => jam_crc($reply // ''), signature => "JAM\0", revision => 1, sflen => length $sf, %$m,
        );
        $jdx .= pack 'VV', $m->{crc} // jam_crc($to // ''), $m->{offset} // 1024 + length $jhr;
        $jhr .= ($m->{raw} // pack $HEADER, @h{qw(signature revision)}, $h{reserved} // 0, $h{sflen}, $h{timesread} // 0,
            map { $_ // 0 } @h{@WORDS}) . $sf;
        $jdt .= $m->{text} // '';
    }
    my $head = pack 'a4 V5', $o{signature} // "JAM\0", 1714550000, $o{mod} // 5, $o{active} // $live, 0xFFFFFFFF, $base;
    $s->spew("$name.jhr", $head . pack('a1000', $o{reserved} // '') . $jhr);
    $s->spew("$name.jdt", $jdt);
    $s->spew("$name.jdx", $jdx);
    $s->spew("$name.jlr", pack '(V4)*', map { (1, 2, $_, $_) } @{$o{jlr} // []});
    return $s;
}

sub get_jam {
    my ($s, $name) = @_;
    my %b = map { $_ => $s->slurp("$name.$_") } qw(jhr jdt jdx);
    @b{qw(signature created mod active password base)} = unpack 'a4 V5', $b{jhr};
    $b{reserved} = substr $b{jhr}, 24, 1000;
    for (my $at = 0; $at + 8 <= length $b{jdx}; $at += 8) {
        my ($crc, $offset) = unpack 'VV', substr $b{jdx}, $at, 8;
        push @{$b{messages}}, $offset == 0xFFFFFFFF ? undef : {crc => $crc, %{get_header(\%b, $offset)}};
    }
    return \%b;
}

# A header and what belongs to it, by its offset; get_jam's result comes first.
sub get_header {
    my ($b, $offset) = @_;
    my %m = (offset => $offset);
    @m{qw(signature revision reserved sflen timesread), @WORDS} = unpack $HEADER, substr $b->{jhr}, $offset, 76;
    my $block = substr $b->{jhr}, $offset + 76, $m{sflen};
    while (length $block >= 8) {
        my ($id, $high, $size) = unpack 'vvV', $block;
        push @{$m{sf}}, $id, substr $block, 8, $size;
        substr $block, 0, 8 + $size, '';
    }
    $m{text} = substr $b->{jdt}, $m{txtoffset}, $m{txtlen};
    return \%m;
}

sub jam_check {
    my ($s, $name) = @_;
    my $out = qx{cd '$s->{home}' && TZ=UTC '$ENV{QUELMO_BASE_BIN}' --check jam $name 2>&1};
    return ($? >> 8, $out);
}

1;
