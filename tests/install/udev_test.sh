#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
# The udev rule names the product ids of the model table and no others.
# Usage: udev_test.sh RULES MODEL-TABLE
set -eu

directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

sed -n 's/^ATTR{idProduct}=="\([^"]*\)".*/\1/p' "$1" | tr '|' '\n' | sort >"$directory/rules"
grep -Eo '0x[0-9a-fA-F]{4}' "$2" | sed 's/^0x//' | tr A-F a-f | sort -u >"$directory/models"
if [ ! -s "$directory/models" ]; then
    echo "FAILED: no product ids in $2"
    exit 1
fi
if ! diff -u "$directory/models" "$directory/rules"; then
    echo "FAILED: the product ids differ (- model table, + rules)"
    exit 1
fi
