# SPDX-License-Identifier: LGPL-2.1-or-later
# shellcheck shell=sh
#
# The system of the test machine; sourced by init.

bring_up() {
    ip link set lo up || return 1
    for module in usb-common usbcore usbip-core vhci-hcd; do
        insmod "/modules/$module.ko" || return 1
    done
    start_udev
}

# libusb learns of devices that come and go from udev.
start_udev() {
    cat >/etc/passwd <<END
root:x:0:0:root:/tmp:/bin/sh
observer:x:1000:1000:observer:/tmp:/bin/sh
outsider:x:1001:1001:outsider:/tmp:/bin/sh
END
    cat >/etc/group <<END
root:x:0:
plugdev:x:46:observer
observer:x:1000:
outsider:x:1001:
END
    chmod 1777 /tmp
    # Rules name more groups than this machine has; late, only those that are needed are looked up.
    systemd-udevd --daemon --resolve-names=late 2>/dev/null &&
        udevadm trigger --type=devices --action=add --subsystem-match=usb && udevadm settle
}

# What the kernel says of faults of its own, whatever became of the programs.
kernel_complaints() {
    dmesg | grep -E 'BUG:|WARNING:|Oops|Call Trace|blocked for more than|general protection'
}
