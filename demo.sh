#!/bin/bash
# Shows the program at work: installs what is missing, builds, makes a home directory in demo-home/ from examples/, fills
# its netmail area with sample mail and runs the robot over it. Nothing outside this directory is touched; run it as
# often as you like.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
exec </dev/null

home=demo-home
areas=(netmail local points out zones attach bad)

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
cp -R examples/. "$home"
for area in "${areas[@]}"; do mkdir "$home/$area"; done
perl scripts/sample-mail.pl "$home/netmail"

say "Before: the netmail area as a tosser left it"
list

say "The robot: quelmo -1 NETMAIL route"
(cd "$home" && QUELMO_STDERR=- ../build/quelmo -1 NETMAIL route)

say "The log ($home/quelmo.log)"
cat "$home/quelmo.log"

say "After"
list

say "A bounced message ($home/out)"
file=$(grep -l 'has come back' "$home"/out/*.msg | head -n 1)
tail -c +191 "$file" | tr '\1\r\0' '@\n\n'

echo
echo "demo.sh: done; look around in $home/, or run ./demo.sh again"
