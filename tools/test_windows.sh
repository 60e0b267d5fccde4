#!/usr/bin/env bash
# Cross-builds for Windows (tools/build_windows.sh) and runs the core, Windows and screen tests
# through wine in a private prefix under build-win/ (no network, no debug chatter, no window
# system needed: wine's null display driver). Extra arguments go to ctest (for example -V).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build-win"
inside=0
if [ "${1:-}" = "--inside" ]; then
    inside=1
    shift
fi
[ $inside = 1 ] || "$root/tools/build_windows.sh"

export WINEPREFIX="$build/wine-prefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d" # no Mono/Gecko prompts, no menu entries
unset DISPLAY WAYLAND_DISPLAY                                      # never a real window
ctest_args=(--test-dir "$build" --output-on-failure -j "$(nproc)" -L "core|ui" "$@")

# Runs inside the network-less namespace when there is one.
run_under_wine() {
    if [ ! -f "$WINEPREFIX/system.reg" ]; then
        echo "== preparing the wine prefix =="
        wineboot --init >/dev/null 2>&1
        # Windows without a display: the null graphics driver.
        wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
        wineserver -w # the set-up's own server ends first
    fi
    # One server and one set of wine's own services for every test. They are started with their
    # output going nowhere: a service that inherited a test's output would keep ctest waiting.
    wineserver -p >/dev/null 2>&1 || true # one may still be running from an earlier run
    wineboot >/dev/null 2>&1
    # COM9 of the prefix: a line that echoes what the tests write, for the port's own test.
    "$root/tools/loopback_port.py" "$WINEPREFIX/dosdevices/com9" >/dev/null &
    local loopback=$!
    export SERVO_LOOPBACK_PORT=COM9
    echo "== tests under wine =="
    local status=0
    ctest "${ctest_args[@]}" || status=$?
    kill "$loopback"
    wait "$loopback" 2>/dev/null || true
    wineserver -k
    return $status
}

if [ $inside = 1 ]; then
    run_under_wine
elif unshare -rn true 2>/dev/null; then
    unshare -rn "$root/tools/test_windows.sh" --inside "$@" # no network for the tests
else
    run_under_wine
fi
