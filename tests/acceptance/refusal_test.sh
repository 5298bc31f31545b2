#!/bin/bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# refusal_test.sh STEP COMMAND...: the command must fail in that step and end with status 1.
set -euo pipefail
step=$1
shift
status=0
output=$("$@" 2>&1) || status=$?
echo "$output"
[ "$status" -eq 1 ] || {
    echo "FAILED: the exit status is $status, not 1" >&2
    exit 1
}
grep -q "^$step *FAILED: expected" <<<"$output" || {
    echo "FAILED: the step \"$step\" did not fail" >&2
    exit 1
}
