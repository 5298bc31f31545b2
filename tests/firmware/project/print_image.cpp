// SPDX-License-Identifier: LGPL-2.1-or-later
#include <cstdio>

namespace tavo {
extern const unsigned char kBuiltInFirmware[];
}

int main() {
    const unsigned char* record = tavo::kBuiltInFirmware;
    while (*record != 0) {
        std::printf("%d bytes at %02x%02x\n", record[0], record[2], record[1]);
        record += 3 + record[0];
    }
    std::puts("end");
}
