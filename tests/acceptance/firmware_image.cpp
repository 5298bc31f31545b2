// SPDX-License-Identifier: LGPL-2.1-or-later
//
// An image that an application brings itself, for cameras that answer nothing before they have one.
#include <tavoccdusb.h>

const unsigned char FIRMWARE[] = {3, 0x00, 0x10, 0x02, 0x10, 0x03, // three bytes at 0x1000
                                  2, 0x34, 0x12, 0xAB, 0xCD,       // two at 0x1234
                                  0};
