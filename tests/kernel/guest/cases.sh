# SPDX-License-Identifier: LGPL-2.1-or-later
# shellcheck shell=sh
#
# What a test machine can be asked for: case_NAME is called with the arguments that follow NAME on
# the command line of boot.sh; sourced by init.

# Cameras' clocks run faster, so that their exposures and coolers take little time.
speed=20
# A readout takes more than half a minute, so that a camera is unplugged in the middle of one even
# where the emulated processor needs many seconds for the picture itself.
slow=0.02

# case_plugged MODEL: handed to the kernel by the program that plays the camera.
case_plugged() {
    tavo-virtual --vhci --camera "$1" --speed $speed -- accept $speed "$1"
}

# case_attached MODEL: fetched over TCP by the tool that Debian ships.
case_attached() {
    tavo-virtual --usbip 127.0.0.1:3240 --camera "$1" --speed $speed -- attached accept $speed "$1"
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

# case_detach MODEL: the kernel lets go of the camera while it is read.
case_detach() {
    tavo-virtual --usbip 127.0.0.1:3240 --camera "$1" --speed $slow -- \
        attached unplug_test "usbip detach -p 0" attach
}

# case_kill MODEL: the camera's program dies while it is read.
case_kill() {
    serve "$1" $slow && attach &&
        unplug_test "kill -9 \$(cat /tmp/camera.pid)" "serve $1 $slow && attach"
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
