// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The serial path to the sensor's analogue front end.
#include "core/assertions.h"
#include "core/trace.h"
#include "link/controller_requests.h"
#include "link/eeprom.h"
#include "link/port_codec.h"
#include "link/spi_codec.h"
#include "tavocameraimpl.h"

namespace trace = tavo::trace;
namespace request = tavo::request;

namespace {

// I/O lines wired to the front end of a HERON_CAMERA.
constexpr unsigned kSelectLine = 2;
constexpr unsigned kDataLine = 5;
constexpr unsigned kClockLine = 6;

constexpr unsigned kADCWordCount = 8;

} // namespace

bool TavoCameraImpl::spiInit() {
    trace::enter("TavoCameraImpl::spiInit()");
    if (type != HERON_CAMERA && type != LUMEN_CAMERA)
        tavo::failAssertion(tavo::AssertionSite::spiInitFamily);
    const std::uint8_t idle = type == HERON_CAMERA ? 0xC0 : 0x80;
    const bool ok = sendPortState({0, 0x1F, idle}) && sendPortDirection({0, 0x0F, 0xE0});
    trace::leave("TavoCameraImpl::spiInit %d", ok);
    return ok;
}

bool TavoCameraImpl::spiWrite(unsigned target, unsigned value) {
    trace::enter("TavoCameraImpl::spiWrite(%d, %d)", target, value);
    if (type != HERON_CAMERA)
        tavo::failAssertion(tavo::AssertionSite::spiWriteFamily);
    const auto word = tavo::encodeSpiWord(target, value);
    unsigned char ignored[2] = {};
    const bool ok = bulkTransfer(request::kSerial, false, 1, 0, 1, word.data(), ignored,
                                 word.size(), sizeof ignored);
    trace::leave("TavoCameraImpl::spiWrite %d", ok);
    return ok;
}

// Clocks one word into the front end by the lines, most significant bit first.
bool TavoCameraImpl::shiftOut(unsigned word) {
    bool ok = setIOState(kClockLine, 0) && setIOState(kSelectLine, 0);
    for (int bit = 15; ok && bit >= 0; --bit)
        ok = setIOState(kDataLine, word >> bit & 1) && setIOState(kClockLine, 1) &&
             setIOState(kClockLine, 0);
    return ok && setIOState(kSelectLine, 1);
}

bool TavoCameraImpl::setADC() {
    trace::enter("TavoCameraImpl::setADC()");
    unsigned char settings[2 * kADCWordCount] = {};
    bool ok = eepRead(tavo::eeprom::kADCSettings, settings, sizeof settings);
    {
        trace::QuietSection quiet;
        for (unsigned i = 0; ok && i < kADCWordCount; ++i)
            ok = shiftOut(tavo::getInt16(settings, static_cast<int>(2 * i)));
    }
    trace::leave("TavoCameraImpl::setADC %d", ok);
    return ok;
}
