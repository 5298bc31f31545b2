// SPDX-License-Identifier: LGPL-2.1-or-later
#include <tavoccdusb.h>

#include <cstdio>

int main() {
    TavoCamera* camera = nullptr;
    const int count = TavoCamera_list(&camera, 1);
    std::printf("%d: %s\n", count, count == 1 ? camera->getName() : "no camera");
    TavoCamera_destroy(camera);
}
