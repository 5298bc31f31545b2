// SPDX-License-Identifier: LGPL-2.1-or-later
#include <tavoccdusb.h>

const unsigned char FIRMWARE[] = {
    2, 0x34, 0x12, 0xAA, 0xBB, // two bytes at 0x1234
    1, 0x00, 0x20, 0xCC,       // one byte at 0x2000
    0,
};
