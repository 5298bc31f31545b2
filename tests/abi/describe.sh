#!/bin/bash
# SPDX-License-Identifier: LGPL-2.1-or-later
# Describes what a shared library offers, from its debugging information: the types, functions and
# slots that applications see, and nothing of where or by which libusb it was built.
# Usage: describe.sh LIBRARY SOURCE_DIRECTORY
set -euo pipefail

abidw --headers-dir "$2/include" --drop-private-types --exported-interfaces-only \
    --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed "$1" |
    sed "s|path='$2/|path='|"
