#!/bin/sh
# Installs what this machine lacks of the tools and libraries that building and testing need. Debian and its
# kin only; elsewhere it names what is missing and fails. Nothing is touched on a machine that has everything.
set -eu

missing=""
need() { # need PACKAGE COMMAND...: the package is wanted when the test command fails
    package=$1
    shift
    "$@" >/dev/null 2>&1 || missing="$missing $package"
}
header() { echo "#include <$1>" | g++ -x c++ -fsyntax-only -; }
has_libperl() { # the headers, and a library that the linker finds (a name without directory comes back if not)
    core=$(perl -MConfig -e 'print "$Config{archlibexp}/CORE"') && test -f "$core/perl.h" &&
        { test -e "$core/libperl.so" || test "$(g++ -print-file-name=libperl.so)" != libperl.so; }
}
find_missing() {
    missing=""
    need g++ command -v g++
    need cmake command -v cmake
    need ninja-build command -v ninja
    need perl command -v prove
    need libperl-dev has_libperl
    need libgtest-dev header gtest/gtest.h
    need zip command -v zip
    need unzip command -v unzip
}

find_missing
[ -z "$missing" ] && exit 0
echo "missing here:$missing"
if ! command -v apt-get >/dev/null 2>&1; then
    echo "install-deps: no apt-get on this machine; please install what is named above" >&2
    exit 1
fi

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo -n "$@"; fi
}
as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q </dev/null || echo "apt-get update failed, going on" >&2
# shellcheck disable=SC2086  # a list of words
as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends $missing </dev/null

find_missing
if [ -n "$missing" ]; then
    echo "install-deps: still missing:$missing" >&2
    exit 1
fi
