# SPDX-License-Identifier: LGPL-2.1-or-later
# shellcheck shell=sh
#
# What a test machine can be asked for: case_NAME is called with the arguments that follow NAME on
# the command line of boot.sh; sourced by init.

# Cameras' clocks run faster, so that their exposures and coolers take little time.
speed=20

# slow_speed MODEL: at which it reads out for about 15 seconds, so that it can be unplugged in the
# middle even where the emulated processor is slow.
slow_speed() {
    case $1 in
    ridge-*) echo 0.035 ;;
    glint-*) echo 0.004 ;;
    *) echo 0.02 ;;
    esac
}

# case_plugged MODEL: handed to the kernel by the program that plays the camera.
case_plugged() {
    tavo-virtual --vhci --camera "$1" --speed $speed -- accept $speed "$1"
}

# case_attached MODEL: fetched over TCP by the tool that Debian ships. While the camera is read, the
# kernel lets go of it, and then its program dies; what is plugged in last is a camera as any other.
case_attached() {
    slow=$(slow_speed "$1")
    # Stopped, the program cannot finish the readout before usbip is loaded.
    detach='kill -STOP $(cat /tmp/camera.pid); usbip detach -p 0; kill -CONT $(cat /tmp/camera.pid)'
    serve "$1" "$slow" && attach &&
        unplug_test "$detach" attach "kill -9 \$(cat /tmp/camera.pid)" "serve $1 $speed && attach" &&
        accept $speed "$1"
}

# case_fault MODEL: the program that plays the camera unplugs it in the middle of a readout, which
# takes more requests than all before it, and plugs it in again; what is plugged in then is a camera
# as any other.
case_fault() {
    tavo-virtual --vhci --camera "$1" --speed $speed --fault unplug-after:400:10000 -- \
        sh -c "unplug_test '' '' && accept $speed $1"
}

# case_two MODEL: two cameras at once, of which a program takes the second.
case_two() {
    tavo-virtual --vhci --camera "$1" --camera "$1,serial=7" --speed $speed -- \
        observe tavocam info --camera serial:7
}

# case_access MODEL
case_access() {
    tavo-virtual --vhci --camera "$1" --speed $speed -- visit
}

# case_request_size MODEL, of images above 4 MiB
case_request_size() {
    tavo-virtual --vhci --camera "$1" --speed $speed -- request_size_test
}

# These end badly, each in its way.
case_failure() {
    return 3
}

case_panic() {
    echo c >/proc/sysrq-trigger
}

case_complaint() {
    echo "BUG: said the test" >/dev/kmsg
}

case_hang() {
    sleep 3600
}
