// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A camera whose time is slowed down, and a host that lives in its own: what hosts allow a fixed
// time for must not take longer.
#include "basin_host.h"
#include "glint_host.h"
#include "heron_host.h"
#include "lumen_host.h"

#include <gtest/gtest.h>

namespace tavo::virtualcamera::test {

namespace {

constexpr double kSlow = 0.02;

// How long `work` takes the host.
template <typename Host, typename Work>
double duration(Host& host, Work work) {
    const double start = host.seconds();
    work();
    return host.seconds() - start;
}

} // namespace

TEST(Slowed, ClockTakesTheShorterOfBothTimes) {
    EXPECT_EQ(ManualClock{0.02}.reactionTime(1000), 20U);
    EXPECT_EQ(ManualClock{1.0}.reactionTime(1000), 1000U);
    EXPECT_EQ(ManualClock{20.0}.reactionTime(1000), 1000U);
    EXPECT_EQ(SystemClock{0.02}.reactionTime(1000), 20U);
    EXPECT_EQ(SystemClock{20.0}.reactionTime(1000), 1000U);
}

TEST(Slowed, ExposuresAndReadoutFollowTheSpeed) {
    const auto readout = [](double speed) {
        RawHost host{smallRidge(), makeRidgeElectronics, speed};
        host.bringUp();
        host.setLinkTimeout(30000);
        host.command(2, {0, 0});
        host.command(4);
        host.command(5);
        host.readOutCommand(1000, 1, 0, 0, 100, 100, 0x0043);
        return duration(host, [&host] { EXPECT_EQ(host.fetch(10000).size(), 10000U); });
    };
    EXPECT_NEAR(readout(kSlow) / readout(1.0), 1.0 / kSlow, 1.0);
}

TEST(Slowed, RidgeStartsItsApplicationAndMeasuresInTime) {
    RawHost host{smallRidge(), makeRidgeElectronics, kSlow};
    host.start();
    host.setLinkTimeout(1000);
    host.loadTable(ridgeTable());
    EXPECT_LT(duration(host, [&host] { host.bringUp(); }), 0.1);
    EXPECT_LT(duration(host, [&host] { EXPECT_TRUE(host.ask(55, {1, 0}, 6)); }), 0.1);
}

TEST(Slowed, RidgeBeginsToReadOutInTime) {
    RawHost host{modelOf(ridgeModels(), "ridge-v"), makeRidgeElectronics, kSlow};
    host.bringUp();
    host.setLinkTimeout(30000);
    host.expose(0.1);
    host.readOutCommand(0, 1, 0, 0, 1, 1);
    EXPECT_LT(duration(host, [&host] { EXPECT_EQ(host.fetch(1).size(), 1U); }), 2.6);
}

TEST(Slowed, BasinStartsMeasuresAndSweepsInTime) {
    BasinHost host{smallBasin(), kSlow};
    EXPECT_LT(duration(host, [&host] { host.bringUp(); }), 0.1);
    EXPECT_LT(duration(host, [&host] { EXPECT_TRUE(host.query(55, {1, 0}, 6)); }), 0.1);
    EXPECT_EQ(host.image(2.1, 1, {0, 0, 1, 1}).size(), 1U);
}

TEST(Slowed, HeronIsBusyNoLonger) {
    HeronHost host{smallHeron(), kSlow};
    host.bringUp();
    host.setBinning(1, 1);
    host.expose(0.1);
    host.readOut();
    EXPECT_TRUE(host.busy());
    host.wait(0.1);
    EXPECT_FALSE(host.busy());
}

TEST(Slowed, LumenStartsAndClearsInTime) {
    LumenHost host{smallLumen(), kSlow};
    host.bringUp();
    EXPECT_TRUE(host.logged("application status: it runs"));
    EXPECT_TRUE(host.beginExposure()) << "200 ms after it was told to clear its sensor";
}

TEST(Slowed, GlintStartsInTime) {
    GlintHost host{smallGlint(), kSlow};
    ASSERT_TRUE(host.write(0x0000, 0x80000000));
    host.wait(0.001);
    EXPECT_TRUE(host.read(0x1F20));
}

TEST(Slowed, GlintBeginsToReadOutInTime) {
    Model model = smallGlint();
    model.readoutLatency = kSecond;
    GlintHost host{model, kSlow};
    host.bringUp();
    host.wait(0.001);
    host.bringUp();
    host.expose(0.001);
    EXPECT_LT(duration(host, [&host] { EXPECT_EQ(host.fetch(1).size(), 1U); }), 1.1);
}

} // namespace tavo::virtualcamera::test
