#!/bin/bash
# Shows the program at work: installs what is missing, builds, makes a home directory in demo-home/ from examples/, fills
# its netmail area with sample mail and runs the robot over it, which ends in a mailer's outbound. Then the mail of the
# points becomes bundles, and one point opens its own. Nothing outside this directory is touched; run it as often as
# you like.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
exec </dev/null

home=demo-home
areas=(netmail local points attach bad)

run() { # run DIRECTORY ARGUMENT...: the program in a home directory
    local program=$PWD/build/quelmo
    (cd "$1" && FTNFILES=$PWD/files QUELMO_STDERR=- "$program" "${@:2}")
}
say() { printf '\n=== %s\n' "$*"; }
list() { for area in "${areas[@]}"; do perl scripts/list-area.pl "$home/$area"; done; }

scripts/install-deps.sh
say "Building"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { cmake --preset release && cmake --build --preset release --target quelmo; } >"$log" 2>&1; then
    cat "$log"
    echo "demo.sh: the build failed" >&2
    exit 1
fi
echo "build/quelmo is ready"

rm -rf "$home"
mkdir "$home"
cp -R examples/{nodelist,templates,point,quelmo.cfg,route.pl,bundle.pl} "$home"
mkdir "${areas[@]/#/$home/}" "$home"/{files,packets,outbound,point/netmail,point/inbound}
sed -n '/^Archiver ZIP/,/^End Archiver/p' examples/compress.cfg >"$home/compress.cfg"
echo 'made by demo.sh' >"$home/files/photo.jpg"
perl scripts/sample-mail.pl "$home/netmail"

say "Before: the netmail area as a tosser left it"
list

say "The robot: quelmo -1 NETMAIL route"
run "$home" -1 NETMAIL route

say "The log ($home/quelmo.log)"
cat "$home/quelmo.log"

say "After: the areas"
list

say "After: the mailer's outbound, with packets and flow files"
perl scripts/list-outbound.pl "$home/outbound"

say "Bundles for the points: quelmo bundle"
cp -R "$home/points" "$home/points.before"
run "$home" bundle
perl scripts/list-outbound.pl "$home/outbound/03e70064.pnt"

say "The point 2:999/100.1 fetches its mail and opens the bundle: quelmo toss"
perl scripts/play-mailer.pl "$home/outbound/03e70064.pnt/00000001.flo" "$home/point/inbound"
run "$home/point" toss
perl scripts/list-area.pl "$home/point/netmail"
mkdir "$home/points.1"
grep -lZ 'TOPT 1' "$home"/points.before/*.msg | xargs -0 cp -t "$home/points.1"
perl scripts/compare-mail.pl "$home/points.1" "$home/point/netmail"

say "A bounced message, in the packet for 2:999/1"
perl -0ne 'print and exit if /has come back/' "$home/outbound/03e70001.out" | tr '\1\r\0' '@\n\n'

echo
echo "demo.sh: done; look around in $home/, or run ./demo.sh again"
