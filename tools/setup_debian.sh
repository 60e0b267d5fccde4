#!/usr/bin/env bash
# Installs what building, running and testing the tool need on Debian (12 or later), skipping
# packages that are already there. Run as root or with sudo available.
set -euo pipefail

packages=(
    cmake g++ make ninja-build pkg-config git      # build tools
    libsdl2-dev libx11-dev libxext-dev             # the window (MIT-SHM present)
    libgtk-3-dev                                   # message boxes, About box, file dialogs
    libgtest-dev                                   # unit tests
    clang libclang-rt-dev                          # fuzzers (libFuzzer and the sanitizers)
    fonts-noto-cjk                                 # Chinese text in those boxes (GTK finds it through fontconfig)
    xvfb xdotool x11-utils python3 python3-pil     # end-to-end tests in a private X server
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

echo "Installing: ${missing[*]}"
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
