#!/bin/bash
# Everything that has to hold before a change goes in: installs what is missing, then builds and runs all tests
# twice, as a release and with AddressSanitizer and UndefinedBehaviorSanitizer. Exit code 0 only if all went well.
# ./check.sh release (or asan) does one of the two; ./check.sh tidy runs clang-tidy instead, which takes longer.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")" || exit 1
exec </dev/null

presets=("$@")
[ ${#presets[@]} = 0 ] && presets=(release asan)
jobs=$(nproc 2>/dev/null || echo 2)
failed=()

step() { # step NAME COMMAND...: runs it under a heading, remembers a failure
    local name=$1
    shift
    printf '\n=== %s\n' "$name"
    "$@" && return 0
    failed+=("$name")
    return 1
}

check_format() {
    git ls-files -z --cached --others --exclude-standard -- '*.cpp' '*.h' |
        xargs -0 -r clang-format --dry-run -Werror
}

check_tidy() { # over the compile commands of the release
    step "tidy: configure" cmake --preset release &&
        step "tidy" sh -c "git ls-files -z 'src/*.cpp' | xargs -0 -n 1 -P $jobs clang-tidy -p build --quiet"
}

check_build() { # configures, builds and tests one preset
    step "$1: configure" cmake --preset "$1" &&
        step "$1: build" cmake --build --preset "$1" --parallel "$jobs" &&
        step "$1: tests" ctest --preset "$1" --parallel "$jobs"
}

step "dependencies" scripts/install-deps.sh || { echo "check.sh: FAILED: dependencies" >&2; exit 1; }
if command -v clang-format >/dev/null && git rev-parse --git-dir >/dev/null 2>&1; then
    step "format" check_format
fi
for preset in "${presets[@]}"; do
    if [ "$preset" = tidy ]; then check_tidy; else check_build "$preset"; fi
done

echo
if [ ${#failed[@]} -gt 0 ]; then
    printf 'check.sh: FAILED: %s\n' "${failed[@]}" >&2
    exit 1
fi
echo "check.sh: all checks passed (${presets[*]})"
