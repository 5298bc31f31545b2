// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Is the camera's firmware alive, and has its application started?
#include "core/assertions.h"
#include "core/clock.h"
#include "core/families.h"
#include "core/trace.h"
#include "link/bytes.h"
#include "link/eeprom.h"
#include "tavocameraimpl.h"

namespace trace = tavo::trace;

namespace {

constexpr unsigned char pingOut[2] = {0x00, 0x7b};

constexpr unsigned kStartApplication = 44;
constexpr unsigned kStatusPolls = 64;
constexpr long kStatusPollPause = 10000; // microseconds

// Length of the status that appInit polls; 0 where there is no command protocol.
constexpr tavo::PerFamily<unsigned> kStatusLength{
    .basin = 2, .ridge = 2, .heron = 0, .glint = 0, .lumen = 1};

} // namespace

// Sends rising numbers until one comes back, `increment` larger.
bool TavoCameraImpl::pingCounting(const PingRule& rule) {
    bool ok = false;
    for (unsigned value = 100; !ok && value < 100 + rule.attempts; ++value) {
        trace::inside("ping -> %d", value);
        const auto argument = static_cast<unsigned char>(value);
        const bool sent = sendCommand(rule.command, &argument, nullptr, 1, 0);
        tavo::sleepms(rule.pause);
        unsigned char answer[2] = {};
        parIn(answer, sizeof answer);
        trace::inside("ping <- %d", answer[0]);
        ok = sent && answer[0] == value + rule.increment;
    }
    return ok;
}

bool TavoCameraImpl::pingBasin() {
    return pingCounting({.command = 17, .attempts = 10, .pause = 50000, .increment = 0});
}

bool TavoCameraImpl::pingRidge() {
    return pingCounting({.command = 80, .attempts = 5, .pause = 20000, .increment = 1});
}

// This family answers no command; its EEPROM must hold a product id. All its models are expected
// to hold one of the first two.
bool TavoCameraImpl::pingHeron() {
    unsigned char id[2] = {};
    eepRead(tavo::eeprom::kProductId, id, sizeof id);
    const unsigned productId = tavo::u16le(id);
    const bool ok = productId == 0xdf2e || productId == 0xdf2f;
    if (ok)
        trace::inside("ping ok");
    return ok;
}

bool TavoCameraImpl::pingLumen() {
    unsigned char reply[2] = {};
    bool ok = sendCommand(253, pingOut, reply, sizeof pingOut, sizeof reply) &&
              reply[0] == pingOut[0] && reply[1] == pingOut[1];
    if (!ok) {
        trace::inside("kernel ping failed (%d %d)", pingOut[1], reply[1]);
        return false;
    }
    trace::inside("kernel ping ok");
    reply[0] = reply[1] = 0;
    ok = sendCommand(80, pingOut, reply, sizeof pingOut, sizeof reply) && reply[0] == pingOut[0] &&
         reply[1] == pingOut[1] + 1;
    if (ok)
        trace::inside("application ping ok");
    else
        trace::inside("application ping failed (%d %d)", pingOut[1], reply[1]);
    return ok;
}

bool TavoCameraImpl::ping() {
    trace::enter("TavoCameraImpl::ping()");
    const auto ask = [&] {
        switch (type) {
        case BASIN_CAMERA: return pingBasin();
        case RIDGE_CAMERA: return pingRidge();
        case HERON_CAMERA: return pingHeron();
        case LUMEN_CAMERA: return pingLumen();
        case GLINT_CAMERA: break;
        }
        tavo::failAssertion(tavo::AssertionSite::pingFamily);
    };
    const bool ok = ask();
    trace::leave("TavoCameraImpl::ping %d", ok);
    return ok;
}

bool TavoCameraImpl::appInit() {
    trace::enter("TavoCameraImpl::appInit()");
    const unsigned statusLength = kStatusLength.get(type, 0);
    if (statusLength == 0)
        tavo::failAssertion(tavo::AssertionSite::appInitFamily);
    unsigned char status[2] = {};
    bool ok = sendCommand(kStartApplication);
    {
        trace::QuietSection quiet;
        for (unsigned poll = 0; ok && status[0] != 'I' && poll < kStatusPolls; ++poll) {
            tavo::sleepms(kStatusPollPause);
            ok = getData(status, statusLength);
        }
    }
    ok = ok && status[0] == 'I';
    trace::inside(ok ? "APPINIT completed" : "failed to get APPINIT completion status");
    trace::leave("TavoCameraImpl::appInit %d", ok);
    return ok;
}
