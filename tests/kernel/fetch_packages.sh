#!/bin/bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Usage: fetch_packages.sh CACHE
#
# Downloads what a test machine takes from packages of Debian that are not installed here, and
# prints a directory a line: the kernel's, udev's, and that of a library which udevadm alone needs;
# the other libraries it names are part of every Debian.
set -euo pipefail

here=$(dirname "$(readlink -f "$0")")
cache=$1

"$here/fetch_package.sh" "$cache" linux-image-amd64 './boot/vmlinuz-*' \
    '*/usb-common.ko*' '*/usbcore.ko*' '*/usbip-core.ko*' '*/vhci-hcd.ko*'
"$here/fetch_package.sh" "$cache" udev '*bin/udevadm' '*/50-udev-default.rules'
"$here/fetch_package.sh" "$cache" libkmod2 '*/libkmod.so.2*'
