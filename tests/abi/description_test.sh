#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
# Compares the interface of the shared library with its committed description.
# Usage: description_test.sh LIBRARY DESCRIPTION SOURCE_DIRECTORY PROCESSOR COMPILER
set -eu

library=$1
description=$2
# Compilers describe the destructors of one and the same table in ways of their own.
if [ "$4 $5" != "x86_64 GNU" ]; then
    echo "skipped: the description is of x86-64 by g++, and this library of $4 by $5"
    exit 77
fi
if ! command -v abidiff >/dev/null; then
    echo "FAILED: there is no abidiff, which is in Debian's package abigail-tools"
    exit 1
fi
# Without types there would be nothing to compare but the symbols.
if ! objdump -h "$library" | grep -q '\.debug_info'; then
    echo "FAILED: $library has no debugging information; is it built as RelWithDebInfo or Debug?"
    exit 1
fi

found=$(mktemp)
trap 'rm -f "$found"' EXIT
"$(dirname "$0")/describe.sh" "$library" "$3" >"$found"
# Harmless changes are changes, too: somebody must have meant them. A report of leaves only would be
# shorter and leave out changed arguments.
if ! abidiff --harmless --no-default-suppression "$description" "$found"; then
    echo "FAILED: the interface of $library (second) differs from $description."
    echo "If that is intended, scripts/update-abi describes it anew."
    exit 1
fi
