// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bus.h"

#include "environment.h"
#include "root_hub.h"

#include <utility>

namespace tavo::virtualusb {

Bus::Bus(const BusOptions& options) : hub(std::make_shared<RootHub>(options.transferMemory)) {}

Bus::~Bus() {
    hub->close();
}

unsigned Bus::plug(std::unique_ptr<Device> device) {
    return hub->plug(std::move(device));
}

std::unique_ptr<Device> Bus::unplug(unsigned number) {
    return hub->unplug(number);
}

std::string Bus::directory() const {
    return hub->directory();
}

std::vector<std::string> Bus::environment() const {
    return environmentOn(hub->directory());
}

} // namespace tavo::virtualusb
