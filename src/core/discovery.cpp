// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/assertions.h"
#include "core/models.h"
#include "core/trace.h"
#include "tavocameraimpl.h"

#include <atomic>
#include <new>

namespace trace = tavo::trace;

namespace {

libusb_context* ctx = nullptr; // one for the process, never released

// Device lists are never freed: cameras hold on to their devices. They hang on a chain so that a
// leak checker sees that they are kept.
struct KeptList {
    libusb_device** devices;
    KeptList* next;
};
std::atomic<KeptList*> keptLists{nullptr};

void keep(libusb_device** devices) {
    auto* kept = new (std::nothrow) KeptList{devices, nullptr};
    if (kept)
        kept->next = keptLists.exchange(kept);
}

bool createContext() {
    const int r = libusb_init(&ctx);
    if (r >= 0)
        return true;
    trace::inside("libusb_init -> %s", libusb_error_name(r));
    ctx = nullptr;
    return false;
}

// The vendor id is not looked at, on purpose: whatever has a listed product id is taken for a
// camera.
const tavo::Model* match(libusb_device* device) {
    libusb_device_descriptor descriptor{};
    if (const int r = libusb_get_device_descriptor(device, &descriptor); r < 0) {
        trace::inside("libusb_get_device_descriptor -> %s", libusb_error_name(r));
        return nullptr;
    }
    trace::inside("[0x%04x, 0x%04x] found...", descriptor.idVendor, descriptor.idProduct);
    const tavo::Model* model = tavo::findModel(descriptor.idProduct);
    if (model)
        trace::inside("'%s' matched...", model->name);
    return model;
}

} // namespace

TavoCamera::~TavoCamera() = default;

int TavoCamera::list(TavoCamera** cameras, int max) {
    if (max < 1)
        tavo::failAssertion("max>0", static_cast<int>(tavo::AssertionSite::listMaximum));
    trace::enter("TavoCamera::list(...)");
    if (!ctx && !createContext()) {
        trace::leave("TavoCamera::list 00");
        return 0;
    }
    libusb_device** devices = nullptr;
    const ssize_t count = libusb_get_device_list(ctx, &devices);
    if (count < 0) {
        trace::insideUnended("Can't get device list"); // without a line feed, as it always was
        trace::leave("TavoCamera::list 00");
        return 0;
    }
    keep(devices);
    int found = 0;
    for (ssize_t i = 0; i < count && found < max; ++i) {
        const tavo::Model* model = match(devices[i]);
        if (!model)
            continue;
        auto* camera = new (std::nothrow) TavoCameraImpl(devices[i], model->name, model->type);
        if (!camera)
            break;
        cameras[found++] = camera;
        libusb_ref_device(devices[i]);
    }
    trace::leave("TavoCamera::list %d", found);
    return found;
}

int TavoCamera_list(TavoCamera** cameras, int max) {
    return TavoCamera::list(cameras, max);
}

void TavoCamera_destroy(TavoCamera* camera) {
    delete camera;
}
