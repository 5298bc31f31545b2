#!/bin/bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Usage: program_test.sh TAVO_VIRTUAL
#
# The server as a program: what it prints, that it answers, and how it ends.
set -euo pipefail

program=$1
scratch=$(mktemp -d)
server=
trap '[ -z "$server" ] || kill -9 "$server"; rm -rf "$scratch"' EXIT

fail() {
    echo "FAIL: $1"
    cat "$scratch"/*
    exit 1
}

# Leaves the server's port in `port`.
start() {
    : >"$scratch/out"
    "$program" --usbip 127.0.0.1:0 --camera ridge-c --camera ridge-c,serial=7 \
        >"$scratch/out" 2>"$scratch/err" &
    server=$!
    until grep -q 'usbip .*attach' "$scratch/out"; do
        kill -0 "$server" || fail "the server has ended early"
        sleep 0.05
    done
    port=$(sed -n 's/^Listening on 127\.0\.0\.1:\([1-9][0-9]*\)$/\1/p' "$scratch/out")
    [ -n "$port" ] || fail "no port is told"
}

ends_with() {
    local status=0
    wait "$server" || status=$?
    server=
    [ "$status" -eq "$1" ] || fail "$2: status $status"
}

# The number of devices in a list, from the wire.
listed() {
    exec 3<>"/dev/tcp/127.0.0.1/$port"
    printf '\001\021\200\005\000\000\000\000' >&3
    head -c 12 <&3 | od -An -tu1 | awk '{ count = $12 } END { print count }'
    exec 3>&-
}

for signal in TERM INT HUP; do
    start
    [ "$(listed)" = 2 ] || fail "two devices should be listed"
    kill -"$signal" "$server"
    ends_with 0 "SIG$signal"
done

grep -q '^1-1 .*ridge-c$' "$scratch/out" || fail "1-1 is not told"
grep -q '^1-2 .*ridge-c,serial=7$' "$scratch/out" || fail "1-2 is not told"
grep -q "^  sudo usbip --tcp-port $port attach -r 127.0.0.1 -b 1-1$" "$scratch/out" ||
    fail "it is not told how to attach"

status=0
"$program" --usbip 127.0.0.1:0 --camera ridge-c -- sh -c 'echo own; exit 7' >"$scratch/out" \
    2>"$scratch/err" || status=$?
[ "$status" -eq 7 ] || fail "the command's status: $status"
[ "$(cat "$scratch/out")" = own ] || fail "the command's output is not left to itself"
grep -q '^Listening on 127' "$scratch/err" || fail "it is not told where it listens"

"$program" --usbip 0.0.0.0:0 --camera ridge-c --camera ridge-c -- true >"$scratch/out" \
    2>"$scratch/err"
grep -q "attach -r $(uname -n) -b 1-1$" "$scratch/err" || fail "no name to attach from elsewhere"
grep -q '^1-1 .*ridge-c$' "$scratch/err" || fail "the first ridge-c"
grep -q '^1-2 .*ridge-c,serial=[0-9]*$' "$scratch/err" || fail "the second has no other number"
"$program" --usbip 127.0.0.1:0 --camera ridge-c -- no-such-command >"$scratch/out" \
    2>"$scratch/err" && fail "a missing command" || [ $? -eq 127 ] || fail "status of a missing command"

# refuses TEXT ARGUMENT...
refuses() {
    local text=$1 status=0
    shift
    "$program" "$@" >"$scratch/out" 2>"$scratch/err" || status=$?
    [ "$status" -eq 125 ] || fail "$*: status $status"
    grep -q -- "$text" "$scratch/err" || fail "$*: no word of \"$text\""
}
refuses 'accepted is HOST:PORT' --usbip nowhere --camera ridge-c
refuses 'excludes' --usbip --vhci --camera ridge-c
refuses 'no camera is given' --usbip
refuses 'serial number 7 already' --usbip 127.0.0.1:0 --camera ridge-c,serial=7 --camera ridge-c,serial=7
refuses 'unknown model "moon"' --usbip 127.0.0.1:0 --camera moon
[ -e /sys/devices/platform/vhci_hcd.0 ] || refuses 'modprobe vhci-hcd' --vhci --camera ridge-c
echo PASS
