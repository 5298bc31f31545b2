#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
# Usage: command_line_test.sh TAVO-FIRMWARE
set -eu

tool=$1
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"
failures=0

# expect STATUS TEXT ARGUMENTS...: runs the tool and looks for TEXT in what it says; an empty TEXT
# stands for silence.
expect() {
    wanted_status=$1
    wanted_text=$2
    shift 2
    status=0
    "$tool" "$@" >said 2>&1 || status=$?
    found=false
    if [ -n "$wanted_text" ]; then
        grep -qF -- "$wanted_text" said && found=true
    elif [ ! -s said ]; then
        found=true
    fi
    if [ "$status" -ne "$wanted_status" ] || [ "$found" = false ]; then
        echo "FAILED: tavo-firmware $*"
        echo "  expected status $wanted_status and \"$wanted_text\""
        echo "  got status $status and \"$(cat said)\""
        failures=$((failures + 1))
    fi
}

expect_file() {
    if ! grep -qF -- "$2" "$1"; then
        echo "FAILED: $1 lacks \"$2\""
        failures=$((failures + 1))
    fi
}

printf ':0300300002337A1E\r\n:00000001FF\r\n' >good.hex
printf '\003\060\000\002\063\172\000' >good.raw
printf ':0300300002337A1E\n:0300300002337A00\n' >bad.hex
printf '\003\060\000\002' >bad.raw
: >empty.hex

expect 0 "" good.hex -o hex.cpp
expect_file hex.cpp "0x03, 0x30, 0x00, 0x02, 0x33, 0x7A, 0x00,"
expect 0 "" good.raw -o raw.cpp
if ! cmp hex.cpp raw.cpp; then
    echo "FAILED: the two formats of one image differ"
    failures=$((failures + 1))
fi
expect 0 "" --empty -o none.cpp
expect_file none.cpp "    0x00,"

cp hex.cpp kept.cpp
expect 1 "bad.hex:2: wrong checksum: expected 0x1E, found 0x00" bad.hex -o kept.cpp
cmp hex.cpp kept.cpp || failures=$((failures + 1))
expect 1 "bad.raw: byte 0: the record needs 6 bytes, 4 are left" bad.raw -o never.cpp
expect 1 "empty.hex: byte 0: the file is empty" empty.hex -o never.cpp
expect 1 "absent.hex: cannot be read: No such file or directory" absent.hex -o never.cpp
expect 1 ".: cannot be read: Is a directory" . -o never.cpp
expect 1 "absent/out.cpp: cannot be written: No such file or directory" --empty -o absent/out.cpp
if [ -e never.cpp ] || ls ./*.partial 2>/dev/null; then
    echo "FAILED: a failed run left a file"
    failures=$((failures + 1))
fi

expect 0 "Usage: tavo-firmware" --help
expect 2 "-o OUTPUT is missing" good.hex
expect 2 "-o needs the name of a file" good.hex -o
expect 2 "either FILE or --empty is needed" -o out.cpp
expect 2 "either FILE or --empty is needed" good.hex --empty -o out.cpp
expect 2 "one FILE at a time, not good.hex and good.raw" good.hex good.raw -o out.cpp
expect 2 "unknown option --fast" --fast

[ "$failures" -eq 0 ]
