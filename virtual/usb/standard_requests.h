// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Control requests that every device answers alike, from its descriptors alone, and what becomes
// of a device's answer in a transfer.
#pragma once

#include "descriptors.h"
#include "transfer.h"

#include <optional>

namespace tavo::virtualusb {

bool isSetInterface(const SetupPacket& setup);

// Whether a request sets or clears the halt feature of an endpoint: wIndex.
bool isSetHalt(const SetupPacket& setup);
bool isClearHalt(const SetupPacket& setup);
// Whether a request asks if the endpoint wIndex is halted.
bool asksForHalt(const SetupPacket& setup);
SetupPacket clearHaltRequest(std::uint8_t endpoint);

// nullopt: the device is to answer itself. `setting` is the one chosen for interface wIndex.
std::optional<Reply> answerStandardRequest(const SetupPacket& setup, const Descriptors& descriptors,
                                           unsigned setting);

// Enters a reply into the transfer's result; false when there was none yet.
bool settle(Transfer& transfer, Reply reply);

} // namespace tavo::virtualusb
