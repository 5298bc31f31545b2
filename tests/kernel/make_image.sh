#!/bin/bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Usage: make_image.sh CACHE OUTPUT UDEV_RULES EXPECTATIONS PROGRAM...
#
# Makes what a test machine boots from: OUTPUT/vmlinuz, the kernel that Debian ships, and
# OUTPUT/initramfs, which holds all of the machine's files: a shell, the kernel's USB modules, udev
# with the rules of the project, what is expected of each camera, and the programs with every
# library they name.
set -euo pipefail

here=$(dirname "$(readlink -f "$0")")
cache=$1
output=$2
rules=$3
expectations=$4
shift 4

fetched=$("$here/fetch_packages.sh" "$cache")
{ read -r kernel && read -r udev && read -r kmod; } <<<"$fetched"

rm -rf "$output"
mkdir -p "$output"
root=$output/root
mkdir -p "$root"/{bin,dev,lib,lib64,etc/udev/rules.d,modules,proc,run,sys,tmp,usr/share/misc,var}

# In a file system that lives in memory, what only a debugger reads is dead weight.
add() {
    [ ! -e "$2" ] || return 0
    install -m 755 "$1" "$2"
    strip "$2"
}

# add_program FILE NAME: with its libraries, all in the one directory that every program looks in.
add_program() {
    add "$1" "$root/bin/$2"
    local libraries library
    libraries=$(ldd "$1")
    if grep "not found" <<<"$libraries" >&2; then
        echo "make_image.sh: a library of $1 is missing" >&2
        return 1
    fi
    while read -r library; do
        add "$library" "$root/lib/$(basename "$library")"
    done < <(sed -n 's/.* => \(\/[^ ]*\) .*/\1/p' <<<"$libraries")
    # The loader alone is named by its place.
    while read -r library; do
        add "$library" "$root$library"
    done < <(sed -n 's/^\t\(\/[^ ]*\) .*/\1/p' <<<"$libraries")
}

for program in "$@"; do
    add_program "$program" "$(basename "$program")"
done
add_program "$(PATH=$PATH:/usr/sbin:/sbin command -v usbip)" usbip
LD_LIBRARY_PATH=$(dirname "$(find "$kmod" -name 'libkmod.so.2' -print -quit)") \
    add_program "$(find "$udev" -name udevadm -print -quit)" udevadm
# It is the daemon under this name.
ln -s udevadm "$root/bin/systemd-udevd"

busybox=$(command -v busybox)
cp "$busybox" "$root/bin/busybox"
for applet in $("$busybox" --list); do
    [ -e "$root/bin/$applet" ] || ln -s busybox "$root/bin/$applet"
done

find "$kernel" -name '*.ko' -exec cp {} "$root/modules" \;
find "$udev" -name '50-udev-default.rules' -exec cp {} "$root/etc/udev/rules.d" \;
cp "$rules" "$root/etc/udev/rules.d"
# Where usbip notes what it has attached.
ln -s ../run "$root/var/run"
# It warns where there are no names of makers.
touch "$root/usr/share/misc/usb.ids"
cp "$expectations" "$root/expectations"
cp -r "$here"/guest/* "$root"

cp "$kernel"/boot/vmlinuz-* "$output/vmlinuz"
# Packed it would be smaller, and slower to start in an emulated processor.
(cd "$root" && find . | cpio --quiet -o -H newc -R 0:0) >"$output/initramfs"
rm -rf "$root"
