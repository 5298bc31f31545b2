// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Time runs faster for the driver: its pauses (usleep) are as much shorter as the virtual cameras'
// time is faster, and so are the time-outs of its transfers. For the latter this program stands
// between the driver and the libusb that answers it.
#pragma once

namespace tavo::soak {

// Whether transfers time out early. Where nothing is to go wrong a busy computer must not make it:
// otherwise the shortest are lengthened instead.
void shortenTimeouts(bool shorten);

} // namespace tavo::soak
