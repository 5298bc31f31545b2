#!/bin/bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Usage: boot.sh IMAGE SECONDS CASE [ARGUMENT...]
#
# Boots a machine from the directory IMAGE in an emulator, has it run one case of guest/init, and
# succeeds when the case did. A kernel that oopses, hangs, or stops early is a failure.
set -euo pipefail

image=$1
limit=$2
shift 2

# What guest/init writes to the emulator's exit port is doubled and one is added. Zero would also be
# the status of a machine that was switched off by a panic.
passed_status=33

name="$*"
# Kept, to be looked at afterwards.
log=$image/${name// /-}.log

# A hardware virtual machine would be faster, but may be missing, forbidden or broken where tests
# run; software emulation is the same everywhere.
# shellcheck disable=SC2054 # the commas are the emulator's
command=(qemu-system-x86_64 -accel tcg -m 512 -display none -nodefaults -no-reboot -serial stdio
    -device isa-debug-exit,iobase=0xf4,iosize=0x04
    -kernel "$image/vmlinuz" -initrd "$image/initramfs"
    -append "console=ttyS0 quiet panic=-1 oops=panic -- $name")

status=0
timeout --kill-after=5 "$limit" "${command[@]}" </dev/null 2>&1 | tr -d '\r' >"$log" || status=$?

if [ "$status" -eq "$passed_status" ] && grep -a "^KERNEL-TEST PASS $name (" "$log"; then
    exit 0
fi
echo "== the console of the machine"
cat "$log"
echo "== end of the console"
if [ "$status" -eq 124 ] || [ "$status" -eq 137 ]; then
    echo "KERNEL-TEST FAIL $name: not done within $limit s"
elif ! grep -aq '^KERNEL-TEST FAIL ' "$log"; then
    echo "KERNEL-TEST FAIL $name: the machine stopped without a verdict (status $status)"
fi
exit 1
