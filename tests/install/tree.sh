#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
# Installs a build and moves the tree, for the consumers to use.
# Usage: tree.sh CMAKE BUILD TREE LIBDIR LIBRARY-FILE
set -eu

cmake=$1
build=$2
tree=$3
libdir=$4
library=$5

rm -rf "$tree" "$tree.moved"
"$cmake" --install "$build" --prefix "$tree.moved"
mv "$tree.moved" "$tree"

for file in include/tavoccdusb.h "$libdir/$library" "$libdir/pkgconfig/tavoccdusb.pc" \
    "$libdir/cmake/tavoccdusb/tavoccdusbConfig.cmake" \
    "$libdir/cmake/tavoccdusb/tavoccdusbConfigVersion.cmake" \
    lib/udev/rules.d/70-tavo-camera.rules; do
    if [ ! -e "$tree/$file" ]; then
        echo "FAILED: $file was not installed"
        exit 1
    fi
done

# Files for developers of the library have no place in the tree.
headers=$(find "$tree" -name '*.h')
if [ "$headers" != "$tree/include/tavoccdusb.h" ]; then
    echo "FAILED: headers beside the public one: $headers"
    exit 1
fi

for tool in "$tree"/bin/*; do
    [ -e "$tool" ] || continue
    "$tool" --help >/dev/null || { echo "FAILED: $tool does not run"; exit 1; }
done
