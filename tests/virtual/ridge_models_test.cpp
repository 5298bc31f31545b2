// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the models of the Ridge family differ in.
#include "raw_host.h"

#include <gtest/gtest.h>

namespace tavo::virtualcamera::test {

namespace {

unsigned readWord(RawHost& host) {
    const auto word = host.linkRead(2);
    return word ? (*word)[0] + 256U * (*word)[1] : 0xFFFFFFFF;
}

struct Description {
    unsigned flags;
    unsigned width;
    unsigned height;
};

Description describe(RawHost& host) {
    host.command(1);
    host.linkRead(4);
    for (int text = 0; text < 2; ++text)
        while (readWord(host) != 0) {
        }
    const Description description{readWord(host), readWord(host), readWord(host)};
    for (int rest = 0; rest < 5; ++rest)
        readWord(host);
    return description;
}

} // namespace

TEST(RidgeModels, DescribeMoreThanTheHostMayTakeFromTwoOfThem) {
    const struct {
        const char* key;
        unsigned width;
        unsigned height;
    } corrected[] = {{"ridge-e", 3326, 2504}, {"ridge-v", 4499, 3599}};
    for (const auto& [key, width, height] : corrected) {
        const Model model = modelOf(ridgeModels(), key);
        EXPECT_EQ(model.sensor.width, width);
        EXPECT_EQ(model.sensor.height, height);
        RawHost host{model};
        host.bringUp();
        const Description description = describe(host);
        EXPECT_GT(description.width, width) << key;
        EXPECT_GT(description.height, height) << key;
        host.setLinkTimeout(30000);
        const auto right = static_cast<std::uint16_t>(width - 2);
        const auto bottom = static_cast<std::uint16_t>(height - 1);
        // The last column that there is, and the first that is only described.
        host.expose(600.0);
        host.readOutCommand(0, 1, static_cast<std::uint16_t>(right + 1), bottom, 2, 2);
        EXPECT_TRUE(host.logged("no data, the window leaves the sensor")) << key;
        EXPECT_FALSE(host.linkRead(1)) << key;
        // The last row that there is, and the first below it.
        host.readOutCommand(0, 1, right, bottom, 2, 2);
        const auto corner = host.fetch(4);
        ASSERT_EQ(corner.size(), 4U);
        EXPECT_GT(corner[0], 1300) << key;
        EXPECT_GT(corner[1], 1300) << key;
        EXPECT_LT(corner[2], 1200) << key;
        EXPECT_LT(corner[3], 1200) << key;
    }
}

TEST(RidgeModels, TellTheTruthOtherwise) {
    for (const Model& model : ridgeModels()) {
        if (model.productId == 0xDF31 || model.productId == 0xDF50)
            continue;
        EXPECT_EQ(model.describedWidth, model.sensor.width) << model.key;
        EXPECT_EQ(model.describedHeight, model.sensor.height) << model.key;
    }
}

TEST(RidgeModels, OneIsBare) {
    RawHost host{modelOf(ridgeModels(), "ridge-b")};
    host.bringUp();
    EXPECT_EQ(describe(host).flags, 0x0109U);
    EXPECT_FALSE(host.ask(135, {}, 8)) << "no wheel";
    // Light falls without a shutter to open.
    host.command(2, {0, 0});
    host.command(4);
    host.command(5);
    host.wait(60.0);
    host.command(2, {1, 0});
    host.readOutCommand(0, 1, 0, 0, 100, 100);
    const double light = mean(host.fetch(10000));
    EXPECT_GT(light, mean(host.image(10.0, true, 1, 0, 0, 100, 100)) + 50.0);
    EXPECT_EQ(host.ask(52, {}, 6), (Bytes{0x09, 0, 1, 0, 0, 0}));
    EXPECT_EQ(host.ask(56, {1, 0xFF}, 2), (Bytes{1, 0}));
    EXPECT_EQ(host.ask(53, {}, 6)->at(2), 0x40);
}

TEST(RidgeModels, OneIsSmall) {
    const Model model = modelOf(ridgeModels(), "ridge-a");
    EXPECT_LE(model.sensor.width * model.sensor.height, 800U * 600U);
    RawHost host{model};
    host.bringUp();
    EXPECT_EQ(describe(host).flags, 0x0089U); // shutter and guide port, no wheel
    EXPECT_EQ(host.image(1.0, true, 1, 0, 0, 768, 512).size(), 768U * 512U);
    EXPECT_EQ(host.ask(52, {}, 6), (Bytes{0x0D, 0, 100, 0, 0, 0}));
}

TEST(RidgeModels, OneHasAColourSensor) {
    RawHost host{modelOf(ridgeModels(), "ridge-d")};
    host.start();
    EXPECT_EQ(host.readEeprom(3, 2), (Bytes{0x30, 0xDF}));
    EXPECT_EQ(host.readEeprom(0xE8, 4), (Bytes{0x84, 0xD9, 0x01, 0x02}));
}

} // namespace tavo::virtualcamera::test
