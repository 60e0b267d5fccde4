#!/usr/bin/env bash
# Cross-builds the Windows program's libraries and tests (and the program, once its window file
# exists) with MinGW-w64 into build-win/, installing the cross compiler and wine when missing.
#   tools/build_windows.sh [cmake --build arguments...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build-win"

packages=(
    cmake ninja-build                              # build tools
    g++-mingw-w64-x86-64-posix                     # the cross compiler, posix threads (std::thread)
    binutils-mingw-w64-x86-64                      # windres, objdump
    libgtest-dev                                   # GoogleTest sources (/usr/src/googletest)
    wine wine64                                    # runs the tests
    python3 python3-pil                            # tools/make_icon.py
)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    export DEBIAN_FRONTEND=noninteractive
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

launcher=()
if command -v ccache >/dev/null; then
    launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-mingw64.cmake" "${launcher[@]}" >/dev/null
fi
cmake --build "$build" -j "$(nproc)" "$@"
