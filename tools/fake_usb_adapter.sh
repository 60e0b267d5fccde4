#!/usr/bin/env bash
# Makes a pseudo-terminal look like a USB serial adapter, /dev/ttyUSB0, to the programs of the
# current mount namespace, and takes it away again. Run it as root inside a private mount
# namespace (unshare -m --propagation private); the rest of the system sees nothing.
#
#   fake_usb_adapter.sh plug /dev/pts/N    adapter plugged in: /dev/ttyUSB0 is the pty
#   fake_usb_adapter.sh unplug             adapter pulled out
#
# How: /sys/class/tty is replaced by a copy of its entries plus ttyUSB0, whose `device` link
# resolves to a folder under a ".../usb1/..." path, and /dev gets an overlay in which the pty
# is bound onto ttyUSB0. The tool discovers and opens it as it would a real adapter.
set -euo pipefail

work=/tmp/servo-fake-usb   # a tmpfs of this namespace
name=ttyUSB0

die() { echo "fake_usb_adapter: $*" >&2; exit 1; }
[ "$(id -u)" -eq 0 ] || die "needs root"

prepare() {
    mkdir -p "$work"
    mountpoint -q "$work" && return
    mount -t tmpfs servo-fake-usb "$work"
    mkdir -p "$work/tty" "$work/up" "$work/ovl-work" "$work/keep" "$work/devices/pci0000:00/usb1/1-1/1-1:1.0"

    # /sys/class/tty: the same entries (absolute links, so they still resolve from here).
    for e in /sys/class/tty/*; do
        ln -s "$(readlink -f "$e")" "$work/tty/$(basename "$e")"
    done
    mount --bind "$work/tty" /sys/class/tty

    # /dev: an overlay, so that ttyUSB0 can be created; the file systems mounted below /dev
    # (pts above all) are kept and mounted again on top.
    mapfile -t submounts < <(awk '$5 ~ "^/dev/" {print $5}' /proc/self/mountinfo | sort -u)
    for m in "${submounts[@]}"; do
        mkdir -p "$work/keep$m"
        mount --bind "$m" "$work/keep$m"
    done
    mount -t overlay servo-fake-dev -o "lowerdir=/dev,upperdir=$work/up,workdir=$work/ovl-work" /dev
    for m in "${submounts[@]}"; do
        mkdir -p "$m" 2>/dev/null || true
        mount --bind "$work/keep$m" "$m"
    done
}

plug() {
    local pty=$1
    [ -c "$pty" ] || die "$pty is not a character device"
    prepare
    if [ ! -e "/dev/$name" ]; then
        # sysfs side first, then the node. The entry appears whole (built aside, then renamed
        # into place), as the kernel's does: a scan never sees it without its device link.
        rm -rf "$work/new-entry"
        mkdir -p "$work/new-entry"
        ln -s "$work/devices/pci0000:00/usb1/1-1/1-1:1.0" "$work/new-entry/device"
        mv -T "$work/new-entry" "$work/tty/$name"
        : > "/dev/$name"
        mount --bind "$pty" "/dev/$name"
    fi
}

unplug() {
    mountpoint -q "$work" || exit 0
    if [ -e "/dev/$name" ]; then
        umount -l "/dev/$name" 2>/dev/null || true   # lazy: the tool may still hold the port open
        rm -f "/dev/$name"
    fi
    rm -rf "$work/tty/$name"
}

case "${1:-}" in
    plug) [ $# -eq 2 ] || die "usage: $0 plug /dev/pts/N"; plug "$2" ;;
    unplug) unplug ;;
    *) die "usage: $0 plug /dev/pts/N | unplug" ;;
esac
