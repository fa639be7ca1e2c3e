#!/bin/sh
# Measures a pass over packets that changes nothing, beside cat over the same files, and the routing of their messages
# into other packets. Arguments: packets (default 100), messages in each (1000), bytes of a message (2048).
# pkt.sh outbound [PACKETS [MESSAGES [BYTES]]] measures the routing into the scratch files of a bink area for 50 systems instead,
# and the building of its outbound beside cp of the same files; BYTES are 400 by default.
set -eu
cd "$(dirname "$0")/.."
mode=packets
size=2048
if [ "${1:-}" = outbound ]; then mode=outbound size=400; shift; fi
packets=${1:-100} messages=${2:-1000} bytes=${3:-$size}
cmake --preset release >/dev/null
cmake --build --preset release --target quelmo >/dev/null
program=$PWD/build/quelmo
home=$(mktemp -d "${TMPDIR:-$PWD/build}/quelmo-bench-XXXXXX")
trap 'rm -rf "$home"' EXIT
mkdir "$home/IN" "$home/OUT" "$home/mail"
cat >"$home/quelmo.cfg" <<'CFG'
MAINADDRESS 2:999/100@testnet
CHAT OFF
PKTAREA IN IN
PKTAREA OUT OUT
BINKAREA mail MAIL
CFG
echo 'sub pass { Scan("IN"); 1 while ReadMsg(); if (@_) { open my $f, "<", "/proc/self/status"; print grep { /VmHWM/ } <$f> } } 1;' >"$home/pass.pl"
echo 'sub route { Scan("IN"); while (ReadMsg()) { RouteTo("2:5020/" . (1 + $n++ % 50)); Move("OUT") } } 1;' >"$home/route.pl"
# Says how long the messages behind the first fifty took, whose files get their names.
cat >"$home/scratch.pl" <<'PL'
use Time::HiRes 'time';
sub scratch {
    my ($n, $start) = (0);
    Scan('IN');
    while (ReadMsg()) {
        $start = time if $n == 50;
        RouteTo('2:5020/' . (1 + $n++ % 50));
        Move('MAIL');
    }
    print 'seconds ', time - $start, "\n";
}
1;
PL
echo 'sub build { DoBinkOutbound("MAIL") } 1;' >"$home/build.pl"
make_packets() {
    perl -e '
        my ($dir, $packets, $messages, $bytes) = @ARGV;
        my $via = "\x01Via 2:999/100\@testnet \@20240501.101500.UTC quelmo 1.02/w32 19-01-01\r\0";
        for my $p (1 .. $packets) {
            open my $f, ">:raw", sprintf "%s/%08x.pkt", $dir, $p or die;
            print $f pack("v12 C2 a8 v4 C2 v5 V", 1, 100, 2024, 4, 1, 10, 15, 0, 0, 2, 999, 999, 254, 1, "", 2, 2, 0, 256, 0, 2, 1, 2, 2, 0, 0, 0);
            for my $m (1 .. $messages) {
                my $text = "\x01INTL 2:999/100 2:5020/$m\r\x01MSGID: 2:5020/$m " . sprintf("%08x\r", $p * 65536 + $m);
                $text .= "x" x 71 . "\r" while length($text) + 72 + length($via) < $bytes - 80;
                print $f pack("v7 a20", 2, $m, 100, 5020, 999, 1, 0, "01 May 24  10:15:00"), "Reader\0Sender $m\0Message $m\0$text$via";
            }
            print $f "\0\0";
        }' "$home/IN" "$packets" "$messages" "$bytes"
}
# The best of five runs, in seconds.
best() {
    perl -MTime::HiRes=time -e 'my $best = 1e9; for (1 .. shift) { my $t = time; system(@ARGV) == 0 or die "@ARGV failed\n"; $t = time - $t; $best = $t if $t < $best } print "$best\n"' "$@"
}
cd "$home"
export QUELMO="$home" TZ=UTC
make_packets
if [ $mode = outbound ]; then
    scratch=$("$program" scratch | awk '/^seconds/ { print $2 }')
    mv mail.qlm keep
    prepared() { # the best of five runs of the second command, the first one ahead of each
        for _ in 1 2 3 4 5; do
            sh -c "rm -rf mail mail.qlm copy; mkdir mail; $1; sync"
            best 1 sh -c "$2"
        done | sort -g | head -n 1
    }
    copy=$(prepared 'mkdir copy' 'cp keep/* copy')
    build=$(prepared 'cp -r keep mail.qlm' "'$program' build >/dev/null")
    [ "$(cat mail/* | wc -c)" -gt $((packets * messages * 100)) ] || echo 'the outbound is not there'
    awk -v n=$((packets * messages)) -v s="$scratch" -v c="$copy" -v b="$build" 'BEGIN {
        printf "scratch  %d messages for 50 systems: %.0f /s once their names are made\n", n, (n - 50) / s
        printf "build    50 packets: %.3f s | cp %.3f s, ratio %.2f\n", b, c, b / c }'
    exit
fi
before=$(cat IN/* | cksum)
cat=$(best 5 sh -c 'cat IN/* >/dev/null')
pass=$(best 5 sh -c "'$program' pass >/dev/null")
peak=$("$program" -1 x pass | awk '/VmHWM/ { print $2 }')
[ "$before" = "$(cat IN/* | cksum)" ] || echo 'the pass changed something'
route=$(best 1 sh -c "'$program' route >/dev/null")
awk -v n=$((packets * messages)) -v c="$cat" -v p="$pass" -v r="$route" -v kb="$peak" 'BEGIN {
    printf "pass   %d messages: %.0f /s, peak %d kB | cat %.3f s, pass %.3f s | limit %.3f s\n", n, n / p, kb, c, p, 4 * c + n / 1e6
    printf "route  %d messages into 50 packets: %.0f /s\n", n, n / r }'
