// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The parts of a camera on their own: FIFO, cooler, filter wheel, mount.
#include "camera/cooler.h"
#include "camera/filter_wheel.h"
#include "camera/mount.h"
#include "controller/fifo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace tavo::virtualcamera::test {

namespace {

class Ramp final : public ByteSource {
public:
    std::uint64_t size() const override { return 10; }
    void read(std::span<std::uint8_t> target) override {
        for (std::uint8_t& byte : target)
            byte = next++;
    }

private:
    std::uint8_t next = 0;
};

} // namespace

TEST(Fifo, GivesBytesWhenTheirTimeHasCome) {
    Fifo fifo;
    fifo.put({1, 2}, 100);
    fifo.put({3}, 50);
    EXPECT_EQ(fifo.available(60), 0U) << "order is kept";
    EXPECT_EQ(fifo.whenAvailable(3), 100U);
    EXPECT_EQ(fifo.whenAvailable(4), std::nullopt);
    EXPECT_EQ(fifo.available(100), 3U);
    EXPECT_EQ(fifo.take(3), (std::vector<std::uint8_t>{1, 2, 3}));
    EXPECT_EQ(fifo.available(1000), 0U);
}

TEST(Fifo, StreamsAtItsPace) {
    Fifo fifo;
    fifo.put({99}, 0);
    fifo.stream(std::make_unique<Ramp>(), 100, 2.0);
    EXPECT_EQ(fifo.available(99), 1U);
    EXPECT_EQ(fifo.available(104), 3U);
    EXPECT_EQ(fifo.take(3), (std::vector<std::uint8_t>{99, 0, 1}));
    EXPECT_EQ(fifo.available(104), 0U);
    EXPECT_EQ(fifo.lastArrival(110), 110U);
    for (std::uint64_t count = 1; count <= 8; ++count) {
        const auto when = fifo.whenAvailable(count);
        ASSERT_TRUE(when);
        EXPECT_GE(fifo.available(*when), count);
    }
    EXPECT_EQ(fifo.take(8).back(), 9);
}

TEST(Cooler, ApproachesItsTargetExponentially) {
    Cooler cooler{CoolerKind::setPoint, 20.0, 45.0};
    cooler.regulateTo(15.0); // near enough for the power to suffice from the start
    cooler.advance(40 * kSecond);
    EXPECT_NEAR(cooler.sensorTemperature() - 15.0, 5.0 * std::exp(-1.0), 0.1);
    cooler.advance(80 * kSecond);
    EXPECT_NEAR(cooler.sensorTemperature() - 15.0, 5.0 * std::exp(-2.0), 0.1);
}

TEST(Cooler, PowerFollowsTheDifferenceToAmbient) {
    Cooler cooler{CoolerKind::setPoint, 20.0, 40.0};
    cooler.regulateTo(10.0);
    cooler.advance(3600 * kSecond);
    EXPECT_NEAR(cooler.power(), 0.25, 0.01);
    cooler.regulateTo(0.0);
    cooler.advance(7200 * kSecond);
    EXPECT_NEAR(cooler.power(), 0.5, 0.01);
    cooler.regulateTo(-50.0);
    cooler.advance(10800 * kSecond);
    EXPECT_NEAR(cooler.power(), 1.0, 1e-6);
    EXPECT_NEAR(cooler.sensorTemperature(), -20.0, 0.1);
}

TEST(Cooler, WarmsUpGently) {
    Cooler cooler{CoolerKind::setPoint, 20.0, 45.0};
    cooler.regulateTo(-10.0);
    cooler.advance(3600 * kSecond);
    cooler.warmUp();
    EXPECT_EQ(cooler.state(), CoolerState::warmingUp);
    cooler.advance(3700 * kSecond);
    EXPECT_LT(cooler.sensorTemperature(), 1.0);
    EXPECT_GT(cooler.sensorTemperature(), -10.0);
    cooler.advance(7200 * kSecond);
    EXPECT_EQ(cooler.state(), CoolerState::inactive);
    EXPECT_NEAR(cooler.sensorTemperature(), 20.0, 0.6);
}

TEST(Cooler, RunsFromTheStartWhenItIsAlwaysOn) {
    Cooler cooler{CoolerKind::alwaysOn, 20.0, 30.0};
    cooler.advance(3600 * kSecond);
    EXPECT_NEAR(cooler.sensorTemperature(), -10.0, 0.1);
}

TEST(FilterWheel, TakesTheShorterWayRound) {
    FilterWheel wheel{5};
    ASSERT_TRUE(wheel.moveTo(4));
    wheel.advance(FilterWheel::kStepTime);
    EXPECT_EQ(wheel.current(), 4U);
    EXPECT_FALSE(wheel.moving());
    ASSERT_TRUE(wheel.moveTo(1));
    wheel.advance(2 * FilterWheel::kStepTime);
    EXPECT_EQ(wheel.current(), 0U);
    EXPECT_TRUE(wheel.moving());
    wheel.advance(3 * FilterWheel::kStepTime);
    EXPECT_EQ(wheel.current(), 1U);
    EXPECT_FALSE(wheel.moveTo(5));
}

TEST(FilterWheel, GoesOnToItsGoalAfterHoming) {
    FilterWheel wheel{7};
    wheel.home();
    wheel.moveTo(2);
    wheel.advance(FilterWheel::kHomingTime + 2 * FilterWheel::kStepTime);
    EXPECT_EQ(wheel.current(), 2U);
    EXPECT_FALSE(wheel.moving());
    wheel.home();
    EXPECT_FALSE(wheel.moving()) << "once is enough";
}

TEST(Mount, DriftsWhileARelayIsClosed) {
    Mount mount;
    mount.advance(kSecond);
    EXPECT_EQ(mount.shift().x, 0.0);
    mount.close(Relay::left);
    mount.close(Relay::down);
    mount.advance(3 * kSecond);
    EXPECT_NEAR(mount.shift().x, -15.0, 1e-9);
    EXPECT_NEAR(mount.shift().y, -15.0, 1e-9);
    mount.releaseAll();
    mount.advance(9 * kSecond);
    EXPECT_NEAR(mount.shift().x, -15.0, 1e-9);
}

} // namespace tavo::virtualcamera::test
