// SPDX-License-Identifier: LGPL-2.1-or-later
#include "testbed.h"

#include "stale_testbeds.h"

#include <cstring>
#include <stdexcept>

#include <unistd.h>

namespace tavo::virtualusb {
namespace {

[[noreturn]] void fail(const std::string& what, GError* error) {
    const std::string text = what + ": " + (error ? error->message : "unknown fault");
    g_clear_error(&error);
    throw std::runtime_error(text);
}

// umockdev calls it critical when a program dies in the middle of a call, which is its right; the
// connection is closed nevertheless.
void keepSilentOfDyingPrograms(const gchar* domain, GLogLevelFlags level, const gchar* message,
                               gpointer data) {
    if (!std::strstr(message, "Destroying IoctlClient with open stream"))
        g_log_default_handler(domain, level, message, data);
}

std::string rootOf(UMockdevTestbed* testbed) {
    gchar* path = umockdev_testbed_get_root_dir(testbed);
    std::string text(path);
    g_free(path);
    return text;
}

} // namespace

Testbed::Testbed() {
    removeStaleTestbeds(g_get_tmp_dir());
    testbed = ObjectRef<UMockdevTestbed>::adopt(umockdev_testbed_new());
    root = rootOf(testbed.get());
    ownership = ownTestbed(root);
    logHandler =
        g_log_set_handler(nullptr, G_LOG_LEVEL_CRITICAL, keepSilentOfDyingPrograms, nullptr);
}

Testbed::~Testbed() {
    g_log_remove_handler(nullptr, logHandler);
    // umockdev ends this program when it finds the directory less tidy than it has left it, and
    // programs that have outlived their command may write there. It is content with a file.
    replaceTestbed(root);
    // Nobody else is to remove the directory at the same time.
    testbed = {};
    if (ownership >= 0)
        close(ownership);
}

void Testbed::serve(const Place& place, UMockdevIoctlBase* handler) {
    GError* error = nullptr;
    const std::string node = "/dev/" + nodeName(place.number);
    if (!umockdev_testbed_attach_ioctl(testbed.get(), node.c_str(), handler, &error))
        fail("cannot serve " + node, error);
}

void Testbed::add(const Place& place, const Descriptors& descriptors) {
    GError* error = nullptr;
    const std::string description = describeDevice(place, descriptors);
    if (!umockdev_testbed_add_from_string(testbed.get(), description.c_str(), &error))
        fail("cannot add a device to the testbed", error);
}

void Testbed::remove(const Place& place) {
    const std::string node = "/dev/" + nodeName(place.number);
    umockdev_testbed_detach_ioctl(testbed.get(), node.c_str(), nullptr);
    umockdev_testbed_remove_device(testbed.get(), ("/sys" + place.path).c_str());
}

} // namespace tavo::virtualusb
