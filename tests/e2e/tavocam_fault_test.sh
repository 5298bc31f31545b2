#!/bin/bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# What tavocam says of cameras that go wrong, how it ends, and that it leaves no broken file.
# tavocam_fault_test.sh TAVO_VIRTUAL TAVOCAM CASE
set -euo pipefail
virtual=$1 tavocam=$2 case=$3
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# take_frame CAMERA FAULT: what the program and what the camera tells is kept apart.
take_frame() {
    status=0
    "$virtual" --log --speed 20 --camera "$1" --fault "$2" -- \
        sh -c '"$@" >output 2>&1' take_frame "$tavocam" expose 0.1 -o frame.fits 2>log || status=$?
}

# expose STATUS CAMERA FAULT
expose() {
    take_frame "$2" "$3"
    [ "$status" -eq "$1" ] || fail "$2 under $3 ended with $status, not $1: $(cat output)"
    echo "$2 under $3: $(cat output)"
}

# A log of the camera without a fault would prove nothing.
struck() {
    grep -q "$1" log || fail "no fault has struck: $(tail -3 log)"
}

says() {
    local words
    for words in "$@"; do
        grep -qF -- "$words" output || fail "\"$words\" is not in: $(cat output)"
    done
}

# left NUMBER: so many files, hidden ones too, beside those of this script.
left() {
    local files
    files=$(find . -type f ! -name output ! -name log)
    [ "$(grep -c . <<<"$files")" -eq "$1" ] || fail "not $1 files were left: $files"
}

no_file() {
    left 0
    [ "$(grep -c '^tavocam: ' output)" -eq 1 ] || fail "more than one message: $(cat output)"
}

whole_file() {
    fitsverify -q frame.fits | grep -q 'verification OK' || fail "$(fitsverify frame.fits)"
    left 1
    rm frame.fits
}

# unplug_at_each CAMERA FIRST MESSAGE...: unplugs the camera at each request from the first on, until
# there is a frame. Every message is heard.
unplug_at_each() {
    local camera=$1 request=$2 words heard=
    shift 2
    until frame_after "$camera" "$request"; do
        struck "unplugged after $request"
        says "$gone"
        left 0
        heard+=$(cat output)
        request=$((request + 1))
    done
    for words in "$@"; do
        grep -qF -- "$words" <<<"$heard" || fail "$camera: \"$words\" was never told: $heard"
    done
    whole_file
}

# Whether CAMERA takes a frame before it is unplugged at REQUEST; if not, tavocam says so.
frame_after() {
    take_frame "$1" "unplug-after:$2"
    case $status in
    0) return 0 ;;
    4 | 5) return 1 ;;
    *) fail "$1 ended with $status: $(cat output)" ;;
    esac
}

gone="The camera is no longer connected: it was unplugged or lost its power. Plug it in again"

case $case in
time_out_while_opening)
    expose 4 lumen-b bulk-in:1:timeout
    struck "bulk-in .*: no answer"
    says "cannot open Tavo Lumen B" "Failed to initialize device" "check its power supply and cable"
    no_file
    ;;
time_out_of_an_image)
    expose 5 glint-m bulk-in:1:timeout
    struck "bulk-in .*: no answer"
    says "Failed to get image" "check the cable and expose again"
    no_file
    ;;
short_image)
    expose 5 glint-c bulk-in:1:short
    struck "bulk-in .*: cut short"
    says "Failed to get image" "check the cable and expose again"
    no_file
    ;;
stall)
    expose 5 glint-m bulk-in:1:stall
    struck "bulk-in .*: stall"
    says "Failed to get image" "check the cable and expose again"
    no_file
    for camera in lumen-b ridge-a heron-c; do
        expose 4 $camera bulk-out:1:stall
        struck "bulk-out .*: stall"
        says "cannot open" "Failed to initialize device" "Another program may be using it"
        no_file
        expose 4 $camera bulk-in:1:stall
        struck "bulk-in .*: stall"
        no_file
    done
    ;;
registers)
    expose 4 glint-m control-in:1:stall
    struck "control-in .*: stall"
    says "cannot open Tavo Glint M: it does not answer" "check its cable"
    no_file
    ;;
corrupt)
    expose 0 glint-m bulk-in:1:corrupt
    struck "bulk-in .*: corrupted"
    whole_file
    # What becomes of spoilt answers is chance: a frame, or a failure that is told.
    for camera in lumen-b ridge-a heron-c; do
        take_frame $camera bulk-in:0.05:corrupt
        struck "bulk-in .*: corrupted"
        case $status in
        0) whole_file ;;
        4 | 5) no_file ;;
        *) fail "$camera ended with $status: $(cat output)" ;;
        esac
    done
    ;;
late)
    for camera in glint-m lumen-b ridge-a; do
        expose 0 $camera bulk-in:1:late:40
        struck "bulk-in .*: late"
        whole_file
    done
    ;;
ping)
    for camera in lumen-b heron-c; do # others wait long for each of many answers
        expose 4 $camera ping:never
        says "cannot open" "Failed to initialize device" "switch it off and on again"
        no_file
    done
    ;;
unplugged_while_opening)
    for camera in lumen-b ridge-a heron-c basin-c; do
        expose 4 $camera unplug-after:20
        struck "unplugged"
        says "cannot open" "$gone"
        no_file
    done
    expose 4 glint-m unplug-after:3
    struck "unplugged"
    says "cannot open Tavo Glint M: it does not answer" "$gone"
    no_file
    ;;
unplugged_later)
    expose 5 glint-m unplug-after:13
    struck "unplugged"
    says "temperature sensor 0 cannot be read: the camera does not answer. $gone"
    no_file
    # From the end of the bring-up to the last request, after which the frame is safe.
    unplug_at_each glint-m 14 "Failed to get image"
    unplug_at_each lumen-b 50 "Failed to read CCD" "Failed to get image"
    unplug_at_each ridge-a 116 "Failed to read temperature sensor status" "Failed to read CCD" \
        "Failed to get image"
    ;;
*)
    fail "there is no case $case"
    ;;
esac
