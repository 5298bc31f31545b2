// SPDX-License-Identifier: LGPL-2.1-or-later
#include "waits.h"

#include "bench.h"
#include "report.h"

#include <algorithm>
#include <cstdio>

namespace tavo::sweep {
namespace {

using test::Fault;
using test::Repeat;
using test::ShortCount;
using test::usb;

constexpr std::size_t kManyCalls = 20000;
constexpr Fault kNoBytes{"no bytes", 0, ShortCount::none};

struct Wait {
    const char* what;
    CAMERA_TYPE type;
    bool ends;
    bool (*run)(Bench&); // on an open camera
};

bool sensor(Bench& bench) {
    return bench.camera().getTemperatureSensorStatus(0, nullptr);
}

bool heldLine(Bench& bench) {
    constexpr std::size_t kBusyPort = 0;
    Image image{};
    if (!bench.requestImage())
        return false;
    bench.script().ports[kBusyPort] = 0xFF;
    return bench.fetchImage(image);
}

bool noPackets(Bench& bench) {
    bench.camera().setParam(MAX_PACKET_SIZE, 0);
    return sensor(bench);
}

bool noBytes(Bench& bench) {
    usb().failTransfer(1, kNoBytes, Repeat::fromThenOn);
    return sensor(bench);
}

bool silentAtFirstContact(Bench& bench) {
    bench.camera().close();
    bench.script().silence(17);
    return bench.open();
}

bool neverEmpty(Bench& bench) {
    bench.camera().close();
    bench.script().feed(test::Bytes(kManyCalls));
    return bench.open();
}

bool silentAfterClearing(Bench& bench) {
    bench.script().silence(253);
    return bench.camera().startExposure(false);
}

bool gainNeverReady(Bench& bench) {
    bench.script().reply(141, test::Bytes(16, 1));
    int gain = 0;
    return bench.camera().getGain(&gain, nullptr);
}

bool offsetNeverAcceptable(Bench& bench) {
    bench.script().reply(141, test::Bytes(16, 1));
    return bench.camera().setGain(1, 1);
}

bool applicationNeverStarts(Bench& bench) {
    bench.camera().close();
    bench.script().reply(44, {'?', 0});
    return bench.open();
}

bool wheelNeverHome(Bench& bench) {
    bench.camera().close();
    bench.script().reply(135, {1, 0, 5, 0, 0xFF, 0xFF, 2, 2});
    return bench.open();
}

const Wait kWaits[]{
    {"getImage while a Heron holds its busy line", HERON_CAMERA, false, heldLine},
    {"any read with MAX_PACKET_SIZE 0", RIDGE_CAMERA, false, noPackets},
    {"any read that brings no bytes and no error", LUMEN_CAMERA, false, noBytes},
    {"open of a Basin that does not answer", BASIN_CAMERA, false, silentAtFirstContact},
    {"open while a camera still has bytes to flush", RIDGE_CAMERA, false, neverEmpty},
    {"startExposure of a Lumen that does not answer (401 pings)", LUMEN_CAMERA, true,
     silentAfterClearing},
    {"getGain of a block that is never ready (101 reads)", LUMEN_CAMERA, true, gainNeverReady},
    {"setGain with such a block (101 reads)", LUMEN_CAMERA, true, offsetNeverAcceptable},
    {"open of a Ridge whose application does not start (64 polls)", RIDGE_CAMERA, true,
     applicationNeverStarts},
    {"open while a wheel never comes home (20 polls)", RIDGE_CAMERA, true, wheelNeverHome},
};

} // namespace

std::size_t showWaits() {
    std::size_t wrong = 0;
    for (const Wait& wait : kWaits) {
        nowTrying(wait.what);
        Bench bench(wait.type);
        bool ended = bench.open();
        bench.heal();
        usb().countOnly(kManyCalls);
        try {
            wait.run(bench);
        } catch (const test::EndlessCalls&) {
            ended = false;
        }
        std::printf("%s: %s\n", ended ? "ends" : "waits as long as the camera says", wait.what);
        wrong += ended == wait.ends ? 0 : 1;
    }
    return wrong;
}

} // namespace tavo::sweep
