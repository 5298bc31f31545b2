// SPDX-License-Identifier: LGPL-2.1-or-later
//
// On families without the feature both operations report success and leave an error text: kept,
// since applications call them on every camera.
#include "accessories/gain_codec.h"
#include "core/clock.h"
#include "core/messages.h"
#include "core/trace.h"
#include "tavocameraimpl.h"

namespace message = tavo::message;
namespace trace = tavo::trace;

namespace {
constexpr unsigned kReadBlock = 141;
constexpr unsigned kWriteBlock = 140;
constexpr unsigned kMostTries = 100;
constexpr long kTryPause = 10000; // microseconds
} // namespace

TavoCameraImpl::GainBlockRead TavoCameraImpl::readGainBlock(tavo::GainBlock* block) {
    (*block)[0] = tavo::kGainBlockNotReady;
    unsigned tries = 0;
    while (!tavo::gainBlockReady(*block)) {
        const bool ok = query(kReadBlock, *block);
        if (++tries > kMostTries)
            return GainBlockRead::noResponse;
        if (!ok)
            return GainBlockRead::failed;
    }
    return GainBlockRead::ready;
}

// The second acceptable block is the one that counts; others in between change nothing, and
// neither do failed commands.
bool TavoCameraImpl::awaitGainBlock(tavo::GainBlock* block) {
    bool armed = false;
    for (unsigned tries = 1;; ++tries) {
        (*block)[0] = tavo::kGainBlockNotReady;
        query(kReadBlock, *block);
        tavo::sleepms(kTryPause);
        if (tries > kMostTries)
            return false;
        if (!tavo::gainBlockAcceptable(*block))
            continue;
        if (armed)
            return true;
        armed = true;
    }
}

bool TavoCameraImpl::getGain(int* gain, int* offset) {
    trace::enter("TavoCameraImpl::getGain(...)");
    lock();
    bool ok = true;
    if (type != LUMEN_CAMERA) {
        refuse(message::kUnsupported);
    } else {
        tavo::GainBlock block{};
        const GainBlockRead outcome = readGainBlock(&block);
        if (outcome == GainBlockRead::noResponse) {
            unlock();
            refuse(message::kGainFailed);
            trace::leave("TavoCameraImpl::getGain 00 //  no response");
            return false;
        }
        ok = outcome == GainBlockRead::ready;
        if (ok) {
            const tavo::GainSetting setting = tavo::decodeGain(block, previewMode);
            if (gain)
                *gain = setting.gain;
            if (offset)
                *offset = setting.offset;
        }
    }
    unlock();
    if (trace::on()) // only then are the caller's variables looked at
        trace::leave("TavoCameraImpl::getGain %d -> %d, %d", ok, gain ? *gain : 0,
                     offset ? *offset : 0);
    return ok;
}

bool TavoCameraImpl::setGain(int gain, int offset) {
    trace::enter("TavoCameraImpl::setGain(%d, %d)", gain, offset);
    lock();
    if (type != LUMEN_CAMERA) {
        refuse(message::kUnsupported);
        unlock();
        trace::leave("TavoCameraImpl::setGain %d", true);
        return true;
    }
    if (gain < 0 || gain > tavo::kMaxGain || offset < 0 || offset > tavo::kMaxOffset) {
        unlock();
        trace::leave("TavoCameraImpl::setGain 00 // invalid parameter");
        return refuse(message::kInvalidParameter);
    }
    tavo::GainBlock block{};
    if (!awaitGainBlock(&block)) {
        unlock();
        trace::leave("TavoCameraImpl::getGain 00 //  no response"); // getGain's wording, as ever
        return refuse(message::kGainFailed);
    }
    const auto payload = tavo::encodeGain(block, previewMode, {gain, offset});
    const bool ok = sendCommand(kWriteBlock, payload.data(), nullptr, payload.size(), 0);
    unlock();
    trace::leave("TavoCameraImpl::setGain %d", ok);
    return ok;
}
