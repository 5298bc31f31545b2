// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A camera that answers whatever it is asked and forgets what was not fetched, so that a lost reply
// does not shift the ones after it: each test sees the one fault that it made.
#pragma once

#include "fake/fake_usb.h"

namespace tavo::test::exposure {

class PatientCamera : public Responder {
public:
    int bulkOut(unsigned endpoint, std::span<const std::uint8_t> data) override;
    Answer bulkIn(unsigned endpoint, std::size_t wanted) override;
    int controlOut(const Row& request) override;
    Answer controlIn(const Row& request) override;

private:
    Bytes reply; // to the last framed request, without its frame
};

} // namespace tavo::test::exposure
