// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A host that makes no sense must not break a camera, whatever it sends.
#include "raw_host.h"

#include "sky/random.h"

#include <gtest/gtest.h>

#include <iterator>
#include <utility>

namespace tavo::virtualcamera::test {

namespace {

class Nonsense {
public:
    explicit Nonsense(std::uint64_t seed) : random(seed) {}

    unsigned below(unsigned limit) { return static_cast<unsigned>(random.next() % limit); }

    Bytes bytes(unsigned most) {
        Bytes result(below(most + 1));
        for (std::uint8_t& byte : result)
            byte = static_cast<std::uint8_t>(below(256));
        return result;
    }

    // A frame whose header holds together, so that what is inside it is looked at.
    Bytes frame() {
        const Bytes payload = bytes(20);
        const std::uint8_t flag = below(2) == 0 ? 0x00 : 0xFF;
        Bytes result{static_cast<std::uint8_t>(below(14)), static_cast<std::uint8_t>(below(256)),
                     flag, static_cast<std::uint8_t>(below(3))};
        for (int i = 0; i < 4; ++i)
            result.push_back(static_cast<std::uint8_t>(below(3) == 0 ? below(256) : 0));
        const auto reply = static_cast<std::uint8_t>(below(8));
        const auto length = static_cast<std::uint8_t>(payload.size());
        result.insert(result.end(), {reply, 0, 0, 0, length, 0, 0, 0});
        result.insert(result.end(), payload.begin(), payload.end());
        return result;
    }

    // A command that the camera may well know.
    std::pair<std::uint8_t, Bytes> command() {
        constexpr std::uint8_t kKnown[] = {1,  2,  4,  5,  6,  9,  20, 21, 22,  23, 24,
                                           44, 52, 53, 54, 55, 56, 57, 80, 135, 136};
        const std::uint8_t number = kKnown[below(std::size(kKnown))];
        Bytes arguments = bytes(number == 6 ? 16 : 2);
        if (number == 6 && below(4) != 0)
            arguments.resize(16);
        if (arguments.size() == 16 && below(4) != 0) {
            arguments[14] = 0x43;
            arguments[15] = 0;
        }
        if (number == 2)
            arguments = {static_cast<std::uint8_t>(below(2)), 0};
        return {number, arguments};
    }

private:
    Random random;
};

void step(RawHost& host, Nonsense& nonsense) {
    virtualusb::Device& device = host.device();
    switch (nonsense.below(8)) {
    case 0: device.bulkOut(0x04, nonsense.bytes(40)); break;
    case 1: device.bulkOut(0x04, nonsense.frame()); break;
    case 2: device.bulkOut(0x02, nonsense.bytes(600)); break;
    case 3: device.bulkIn(nonsense.below(2) == 0 ? 0x86 : 0x88, nonsense.below(5000)); break;
    case 4: host.wait(nonsense.below(100) * 0.1); break;
    case 5: host.linkRead(nonsense.below(20)); break;
    default: {
        const auto [number, arguments] = nonsense.command();
        host.command(number, arguments);
    }
    }
}

} // namespace

TEST(Disorder, LeavesTheCameraUsable) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        RawHost host;
        host.bringUp();
        Nonsense nonsense{seed};
        for (int i = 0; i < 1000; ++i)
            step(host, nonsense);
        host.bringUp();
        EXPECT_EQ(host.ask(80, {9}, 2), (Bytes{10, 0})) << "seed " << seed;
        EXPECT_EQ(host.image(1.0, true, 2, 0, 0, 100, 100).size(), 2500U) << "seed " << seed;
    }
}

} // namespace tavo::virtualcamera::test
