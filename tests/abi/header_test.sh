#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
# The public header serves applications written in C++11, compiled by either compiler.
# Usage: header_test.sh HEADER
set -eu

compiled=0
for compiler in g++ clang++; do
    command -v $compiler >/dev/null || continue
    for standard in c++11 c++14 c++17 c++20; do
        $compiler -std=$standard -Wall -Wextra -pedantic -Werror -fsyntax-only -x c++ "$1"
        # Included twice, as through two headers of an application.
        printf '#include "%s"\n#include "%s"\n' "$1" "$1" |
            $compiler -std=$standard -Wall -Wextra -pedantic -Werror -fsyntax-only -x c++ -
        compiled=$((compiled + 1))
    done
done
[ $compiled -gt 0 ] || { echo "neither g++ nor clang++ was found"; exit 1; }
