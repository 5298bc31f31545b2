#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
# Builds the static library with a firmware image.
# Usage: static_build.sh CMAKE SOURCE BUILD GENERATOR COMPILER IMAGE LIBDIR
set -eu

"$1" -S "$2" -B "$3" -G "$4" -DCMAKE_CXX_COMPILER="$5" -DTAVO_FIRMWARE="$6" \
    -DCMAKE_BUILD_TYPE=Debug -DCMAKE_INSTALL_LIBDIR="$7" -DBUILD_SHARED_LIBS=OFF \
    -DTAVO_BUILD_TOOLS=OFF -DTAVO_BUILD_VIRTUAL=OFF -DTAVO_BUILD_TESTS=OFF
"$1" --build "$3" --parallel 2
