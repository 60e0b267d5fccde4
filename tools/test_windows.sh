#!/usr/bin/env bash
# Cross-builds for Windows (tools/build_windows.sh) and runs the core, Windows and screen tests
# through wine in a private prefix under build-win/ (no network, no debug chatter, no window
# system needed: wine's null display driver).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build-win"
"$root/tools/build_windows.sh"

export WINEPREFIX="$build/wine-prefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d" # no Mono/Gecko prompts, no menu entries
unset DISPLAY WAYLAND_DISPLAY                                      # never a real window
if [ ! -f "$WINEPREFIX/system.reg" ]; then
    echo "== preparing the wine prefix =="
    wineboot --init >/dev/null 2>&1
    # Windows without a display: the null graphics driver.
    wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
fi
wineserver -p 60 # one server for every test run; it ends a minute after the last one

echo "== tests under wine =="
# unshare -n: no network for the tests (skipped where namespaces are not allowed).
run=(ctest --test-dir "$build" --output-on-failure -j "$(nproc)" -L "core|ui")
if unshare -rn true 2>/dev/null; then
    unshare -rn "${run[@]}"
else
    "${run[@]}"
fi
