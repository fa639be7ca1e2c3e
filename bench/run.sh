#!/bin/sh
# Builds the release and runs the benchmarks; arguments are numbers of messages (default: 10000 100000).
set -eu
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target quelmo make_store plain_read bench_run >/dev/null
exec build/bench/bench_run build/quelmo build/bench/make_store build/bench/plain_read "$@"
