#!/bin/bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Every virtual camera is tried, and none that does not exist.
# models_test.sh TAVO_VIRTUAL MODEL...
set -euo pipefail
virtual=$1
shift
tried=$(printf '%s\n' "$@" | sort)
exist=$("$virtual" --list-models | awk '{ print $1 }' | sort)
[ "$tried" = "$exist" ] || {
    echo "FAILED: models.cmake and --list-models differ:" >&2
    diff <(echo "$tried") <(echo "$exist") >&2
    exit 1
}
