#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
# Compares what the shared library offers with the committed list.
# Usage: symbols_test.sh LIBRARY LIST
set -eu

library=$1
list=$2
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

# Absolute symbols name the version of the others and are nothing to call.
nm -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' |
    LC_ALL=C sort >"$directory/found"
grep -v '^#' "$list" | LC_ALL=C sort >"$directory/wanted"
if ! diff -u "$directory/wanted" "$directory/found"; then
    echo "FAILED: the exported symbols differ from $list (- wanted, + found)"
    exit 1
fi

name=$(objdump -p "$library" | awk '$1 == "SONAME" { print $2 }')
if [ "$name" != libtavoccdusb.so.1 ]; then
    echo "FAILED: the SONAME is \"$name\", not libtavoccdusb.so.1"
    exit 1
fi

# An application may leave FIRMWARE out, so it must be a weak reference.
if ! nm -D --undefined-only "$library" | grep -q ' w FIRMWARE$'; then
    echo "FAILED: FIRMWARE is no weak reference"
    exit 1
fi
