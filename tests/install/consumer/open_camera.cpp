// SPDX-License-Identifier: LGPL-2.1-or-later
#include <tavoccdusb.h>

#include <cstdio>

int main() {
    TavoCamera* camera = nullptr;
    if (TavoCamera::list(&camera, 1) != 1) {
        std::puts("no camera");
        return 1;
    }
    if (camera->open()) {
        camera->close();
    } else {
        std::puts(camera->getLastError());
    }
    delete camera;
}
