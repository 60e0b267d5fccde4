#!/usr/bin/env bash
# Builds everything (installing what is missing) and runs every test: unit tests, screen tests
# on a headless display, end-to-end tests of the real program under Xvfb, then the unit and
# screen tests and the end-to-end sessions again in an address- and undefined-behaviour-sanitizer
# build, and last the two fuzzers for 30 s each (tools/fuzz.sh).
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
san="$root/build-sanitize"
configure "$san" -DCMAKE_BUILD_TYPE=Debug -DSERVO_SANITIZE=ON
cmake --build "$san" -j "$jobs" --target core_tests ui_tests servo_tool servo_sim
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    ctest --test-dir "$san" --output-on-failure -j "$jobs" -L "core|ui"

echo "== end-to-end sessions on the sanitized program =="
# Plug, read and write both families, save, import, unplug. Any report stops the program
# (halt_on_error) and is looked for in its logs afterwards. Leaks are not looked for there: the
# program keeps its objects until it ends, as designed, and the font libraries under GTK's file
# dialog leave blocks behind.
artifacts="$san/test-artifacts"
rm -rf "$artifacts"
python=/usr/bin/python3 # Debian's, with python3-pil; a user's own Python may lack it
[ -x "$python" ] || python=python3
for t in test_servo_session test_param_dialog test_usb_adapter; do
    rc=0
    ASAN_OPTIONS=halt_on_error=1:detect_leaks=0:exitcode=86 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
        "$python" "$root/tests/e2e/$t.py" --program "$san/servo_tool" --artifacts "$artifacts" || rc=$?
    [ "$rc" -eq 0 ] || [ "$rc" -eq 77 ] || { echo "$t failed on the sanitized program" >&2; exit 1; }
done
if grep -rlE "ERROR: AddressSanitizer|runtime error:|Sanitizer:" "$artifacts" >&2; then
    echo "sanitizer reports in the files above" >&2
    exit 1
fi

echo "== fuzzers, 30 s each =="
"$root/tools/fuzz.sh" 30
echo "== all tests passed =="
