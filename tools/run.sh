#!/usr/bin/env bash
# Builds the tool (installing what is missing) and starts it from its build folder, where its
# picture file lies.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/setup_debian.sh"
build="$root/build"
generator=()
[ -f "$build/CMakeCache.txt" ] || { command -v ninja >/dev/null && generator=(-G Ninja); }
cmake -S "$root" -B "$build" "${generator[@]}" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target servo_tool -j "$(nproc)"
cd "$build"
exec ./servo_tool
