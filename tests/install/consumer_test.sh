#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
# Builds three applications against an installed tree and runs them.
# Usage: consumer_test.sh FINDER LINKAGE TREE LIBDIR CMAKE GENERATOR COMPILER SOURCES STUB-DIRECTORY
# FINDER is pkg_config or find_package, LINKAGE shared or static. The static tree carries the image
# image.hex, the shared one an empty image.
set -eu

finder=$1
linkage=$2
tree=$3
libdir=$4
cmake=$5
generator=$6
compiler=$7
sources=$8
stub=$9
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

build_with_find_package() {
    "$cmake" -S "$sources" -B "$directory" -G "$generator" -DCMAKE_CXX_COMPILER="$compiler" \
        -DCMAKE_PREFIX_PATH="$tree"
    "$cmake" --build "$directory"
}

compile() {
    program=$1
    shift
    "$compiler" -std=c++11 -Wall -Wextra -pedantic "$@" $compile_flags $link_flags \
        -o "$directory/$program"
}

build_with_pkg_config() {
    export PKG_CONFIG_PATH="$tree/$libdir/pkgconfig"
    compile_flags=$(pkg-config --cflags tavoccdusb)
    link_flags=$(pkg-config --libs tavoccdusb)
    compile list_cameras "$sources/list_cameras.cpp"
    compile open_camera "$sources/open_camera.cpp"
    compile open_camera_own_image "$sources/open_camera.cpp" "$sources/own_image.cpp"
}

failures=0

# expect PROGRAM TEXT: runs the program on the stub bus.
expect() {
    said=$(LD_LIBRARY_PATH="$stub:$tree/$libdir" "$directory/$1") || said="$said (failed)"
    if [ "$said" != "$2" ]; then
        printf 'FAILED: %s\n--- expected\n%s\n--- got\n%s\n' "$1" "$2" "$said"
        failures=$((failures + 1))
    fi
}

"build_with_$finder"

if [ "$linkage" = shared ]; then
    readelf -d "$directory/list_cameras" | grep -q 'NEEDED.*libtavoccdusb.so.1' ||
        { echo "FAILED: the shared library is not used"; exit 1; }
    built_in="40 a0 e600: 01
40 a0 e600: 00"
else
    ! readelf -d "$directory/list_cameras" | grep -q 'NEEDED.*libtavoccdusb' ||
        { echo "FAILED: the static library is not used"; exit 1; }
    built_in="40 a0 e600: 01
40 a0 0030: 02 33 7a
40 a0 1000: 5a
40 a0 e600: 00"
fi

# On the real bus there is usually no camera; a camera that is there is not opened.
LD_LIBRARY_PATH="$tree/$libdir" "$directory/list_cameras"

expect list_cameras "1: Tavo Ridge C"
expect open_camera "$built_in
Failed to initialize device"
expect open_camera_own_image "40 a0 e600: 01
40 a0 1234: aa bb
40 a0 2000: cc
40 a0 e600: 00
Failed to initialize device"

[ "$failures" -eq 0 ]
