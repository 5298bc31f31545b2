#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
# Builds a small project with the firmware module, as the library does.
# Usage: module_test.sh CMAKE GENERATOR COMPILER MODULE TAVO-FIRMWARE PROJECT
set -eu

cmake=$1
generator=$2
compiler=$3
module=$4
tool=$5
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cp -R "$6" "$directory/project"
cd "$directory"
printf ':0300300002337A1E\n:00000001FF\n' >project/image.hex
printf ':0300300002337A1E\n:0300400002337A00\n' >project/bad.hex

fail() {
    echo "FAILED: $1"
    cat said
    exit 1
}

configure() {
    "$cmake" -S project -B build -G "$generator" -DCMAKE_CXX_COMPILER="$compiler" \
        -DFIRMWARE_MODULE="$module" -DTAVO_FIRMWARE_TOOL="$tool" "$@" >said 2>&1
}

expect_image() {
    "$cmake" --build build >said 2>&1 || fail "the build with $1"
    build/print_image >said
    [ "$(cat said)" = "$2" ] || fail "the image of $1"
}

configure || fail "configuring without an image"
expect_image "no file" "end"

configure -DTAVO_FIRMWARE:STRING=image.hex || fail "configuring with a relative path"
expect_image "image.hex" "3 bytes at 0030
end"

printf ':01123400AA0F\n:00000001FF\n' >project/image.hex
expect_image "the changed image.hex" "1 bytes at 1234
end"

configure -DTAVO_FIRMWARE:STRING=bad.hex || fail "configuring with a malformed image"
if "$cmake" --build build >said 2>&1; then
    fail "a malformed image was built"
fi
grep -q "project/bad.hex:2: wrong checksum: expected 0x0E, found 0x00" said ||
    fail "the reason is missing"

configure -DTAVO_FIRMWARE:STRING= || fail "configuring without an image again"
expect_image "no file any more" "end"

if configure -DTAVO_FIRMWARE:STRING=absent.hex; then
    fail "an absent image was accepted"
fi
grep -q "TAVO_FIRMWARE: there is no file .*absent.hex" said || fail "the absent file is not named"
