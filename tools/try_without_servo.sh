#!/usr/bin/env bash
# Starts the tool against the servo simulator, with the simulator shown to the tool as a USB
# adapter (/dev/ttyUSB0) in a private mount namespace: the tool finds it and opens it by itself,
# as it would a real adapter. Needs root for the namespace; the rest of the system sees nothing.
#
#   sudo --preserve-env=DISPLAY,XAUTHORITY tools/try_without_servo.sh [simulator options]
#
# Simulator options, e.g. --family register, --no-echo, --fault checksum (servo_sim --help).
# Closing the tool's window ends the simulator too.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build"

[ "$(id -u)" -eq 0 ] || { echo "run it as root (sudo --preserve-env=DISPLAY,XAUTHORITY $0)" >&2; exit 1; }
[ -n "${DISPLAY:-}" ] || { echo "no DISPLAY: run it from a graphical session" >&2; exit 1; }

if [ ! -x "$build/servo_tool" ] || [ ! -x "$build/tools/servo_sim" ]; then
    "$root/tools/setup_debian.sh"
    generator=()
    [ -f "$build/CMakeCache.txt" ] || { command -v ninja >/dev/null && generator=(-G Ninja); }
    cmake -S "$root" -B "$build" "${generator[@]}" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    cmake --build "$build" --target servo_tool servo_sim -j "$(nproc)"
fi

log=$(mktemp /tmp/servo_sim.XXXXXX.log)
coproc SIM { exec "$build/tools/servo_sim" --log "$log" "$@"; }
trap 'kill "$SIM_PID" 2>/dev/null || true' EXIT INT TERM
read -r pty <&"${SIM[0]}"
echo "simulator on $pty (frames logged to $log)"

unshare -m --propagation private bash -c '
    "$1/tools/fake_usb_adapter.sh" plug "$2"
    cd "$3" && ./servo_tool' _ "$root" "$pty" "$build"
