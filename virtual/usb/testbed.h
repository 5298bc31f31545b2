// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The umockdev testbed: a system's device database and its device nodes, in a directory.
#pragma once

#include "device_description.h"
#include "object_ref.h"

#include <umockdev.h>

#include <string>

namespace tavo::virtualusb {

// Not thread-safe: the caller serialises.
class Testbed {
public:
    // Removes what testbeds of dead programs of this user have left, and makes a new one. Throws
    // std::runtime_error.
    Testbed();
    ~Testbed();
    Testbed(const Testbed&) = delete;
    Testbed& operator=(const Testbed&) = delete;

    const std::string& directory() const { return root; }
    std::string nodePath(const Place& place) const {
        return root + "/dev/" + nodeName(place.number);
    }

    // Lets a handler take the calls of those who open a device's node. Throws std::runtime_error.
    void serve(const Place& place, UMockdevIoctlBase* handler);
    // Adds a device, whose node is served by now: whoever finds the device may open it at once. The
    // root hub gets a plain file as its node. Throws std::runtime_error.
    void add(const Place& place, const Descriptors& descriptors);
    // Removes the device; those who have opened it are served on.
    void remove(const Place& place);

private:
    ObjectRef<UMockdevTestbed> testbed;
    std::string root;
    int ownership = -1;
    unsigned logHandler = 0;
};

} // namespace tavo::virtualusb
