#!/bin/bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# tavocam, the driver and a virtual camera, joined by the real libusb.
# tavocam_test.sh TAVO_VIRTUAL TAVOCAM CASE
set -euo pipefail
virtual=$1 tavocam=$2 case=$3
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
cd "$directory"

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

on_camera() {
    "$virtual" --camera ridge-c --speed 20 -- "$tavocam" "$@"
}

# expect_status STATUS COMMAND...
expect_status() {
    local expected=$1 status=0
    shift
    "$@" >output 2>&1 || status=$?
    [ "$status" -eq "$expected" ] || fail "$* ended with $status, not $expected: $(cat output)"
}

nothing_written() {
    [ -z "$(ls | grep -v '^output$')" ] || fail "files were left: $(ls)"
}

case $case in
main_job)
    on_camera expose 3 --temperature -10 --filter 2 --bin 2 --window 100,80,800x600 -o m42.fits \
        --preview m42.png --object "M 42" | tee summary
    fitsverify -q m42.fits | grep -q 'verification OK' || fail "$(fitsverify m42.fits)"
    header=$(head -c 2880 m42.fits | tr -d '\0' | fold -w 80)
    for card in "NAXIS1  =                  400" "NAXIS2  =                  300" \
        "BZERO   =                32768" "XBINNING=                    2" \
        "YBINNING=                    2" "XPIXSZ  =              12.9000" \
        "XORGSUBF=                   50" "YORGSUBF=                   40" \
        "IMAGETYP= 'Light Frame'" "SET-TEMP=" "EXPTIME =             3.000000"; do
        grep -qF -- "$card" <<<"$header" || fail "no card \"$card\" in: $header"
    done
    [ "$(head -c 8 m42.png | od -An -tx1)" = " 89 50 4e 47 0d 0a 1a 0a" ] || fail "no PNG"
    grep -Eq '[1-9][0-9]* stars' summary || fail "no stars: $(cat summary)"
    ;;
refusals)
    expect_status 3 "$tavocam" list # the machine's own bus: no camera
    nothing_written
    expect_status 2 on_camera expose 1 --window 1300,0,200x100 -o out.fits
    grep -q 1392 output || fail "the sensor's size is not told: $(cat output)"
    expect_status 2 on_camera expose 1 --bin 9 -o out.fits
    touch there.fits
    expect_status 6 on_camera expose 1 -o there.fits
    [ ! -s there.fits ] || fail "the file was overwritten"
    rm there.fits
    nothing_written
    ;;
interrupt)
    "$virtual" --log --camera ridge-c -- "$tavocam" expose 600 -o long.fits >output 2>&1 &
    for ((tick = 0; tick < 600; tick++)); do
        ! grep -q 'shutter: open' output || break
        sleep 0.1
    done
    kill -INT $!
    status=0
    wait $! || status=$?
    [ "$status" -eq 130 ] || fail "interrupted it ended with $status: $(cat output)"
    sed '1,/shutter: open/d' output | grep -q 'shutter: close' || fail "the shutter stayed open"
    nothing_written
    ;;
*)
    fail "there is no case $case"
    ;;
esac
