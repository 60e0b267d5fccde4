#!/usr/bin/env bash
# Cross-builds for Windows (tools/build_windows.sh) and runs the core, Windows and screen tests
# through wine in a private prefix under build-win/ (no network, no debug chatter, no window
# system needed: wine's null display driver), then the program itself end to end under Xvfb with
# wine's X11 driver and the servo simulator on COM5 (tests/e2e/win_session.py; skipped without
# Xvfb and xdotool). Extra arguments go to ctest (for example -V).
#   tools/test_windows.sh --bench   prints the program's first frame, idle CPU and working set
#                                   under wine (tools/bench_windows.py) instead of testing
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build-win"
inside=0
mode=test
while [ $# -gt 0 ]; do
    case "$1" in
    --inside) inside=1 ;;
    --bench) mode=bench ;;
    --test) mode=test ;;
    *) break ;;
    esac
    shift
done
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
        wineserver -w # the set-up's own server ends first
    fi
    # X11 when a display is given (the end-to-end run), else the null graphics driver; Chinese
    # letters in the system boxes from the system's CJK font (wine links its dialog font to SimSun).
    if ! grep -q '"Graphics"="x11,null"' "$WINEPREFIX/user.reg"; then
        wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d x11,null /f >/dev/null 2>&1
        if fc-list -q ':family=Noto Sans CJK SC' 2>/dev/null; then
            wine reg add 'HKCU\Software\Wine\Fonts\Replacements' /v SimSun /d 'Noto Sans CJK SC' /f >/dev/null 2>&1
        fi
        wineserver -w
    fi
    if [ $mode = bench ]; then
        run_windows_program /usr/bin/python3 "$root/tools/bench_windows.py" --program "$build/servo_tool.exe" "$@"
        return
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
    [ $status = 0 ] || return $status

    if ! command -v Xvfb >/dev/null || ! command -v xdotool >/dev/null; then
        echo "== end-to-end run skipped: needs Xvfb and xdotool =="
        return 0
    fi
    echo "== the program under wine (Xvfb, X11 driver, simulator on COM5) =="
    run_windows_program /usr/bin/python3 "$root/tests/e2e/win_session.py" --program "$build/servo_tool.exe" \
        --simulator "$root/build/tools/servo_sim" --artifacts "$build/test-artifacts"
}

# Runs a driver of the program on an X server of its own (it starts Xvfb; each session gets a
# fresh wine server whose desktop uses that display). The simulator comes from the Linux build.
run_windows_program() {
    if [ ! -x "$root/build/tools/servo_sim" ]; then
        [ -f "$root/build/CMakeCache.txt" ] || cmake -S "$root" -B "$root/build" -G Ninja >/dev/null
        cmake --build "$root/build" --target servo_sim >/dev/null
    fi
    local status=0
    "$@" || status=$?
    wineserver -k 2>/dev/null || true
    return $status
}

if [ $inside = 1 ]; then
    run_under_wine "$@"
elif unshare -rn true 2>/dev/null; then
    unshare -rn "$root/tools/test_windows.sh" --inside --$mode "$@" # no network for the tests
else
    run_under_wine "$@"
fi
