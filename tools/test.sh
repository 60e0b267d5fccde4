#!/usr/bin/env bash
# Builds everything (installing what is missing) and runs every test: unit tests, screen tests
# on a headless display, end-to-end tests of the real program under Xvfb, then the unit and
# screen tests again in an address- and undefined-behaviour-sanitizer build.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/setup_debian.sh"
jobs=$(nproc)

configure() { # dir, extra cmake arguments...
    local dir=$1; shift
    local generator=()
    [ -f "$dir/CMakeCache.txt" ] || { command -v ninja >/dev/null && generator=(-G Ninja); }
    cmake -S "$root" -B "$dir" "${generator[@]}" "$@" >/dev/null
}

echo "== build =="
configure "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$root/build" -j "$jobs"
echo "== tests =="
ctest --test-dir "$root/build" --output-on-failure -j "$jobs"

echo "== sanitizer build (address, undefined) =="
configure "$root/build-sanitize" -DCMAKE_BUILD_TYPE=Debug -DSERVO_SANITIZE=ON
cmake --build "$root/build-sanitize" -j "$jobs" --target core_tests ui_tests
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    ctest --test-dir "$root/build-sanitize" --output-on-failure -j "$jobs" -L "core|ui"
echo "== all tests passed =="
