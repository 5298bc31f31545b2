// SPDX-License-Identifier: LGPL-2.1-or-later
#include "camera/catalogue.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

namespace tavo::virtualcamera::test {

namespace {

// What makeCamera says against an option; empty when it takes it.
std::string complaint(const std::string& key, const std::map<std::string, std::string>& options,
                      double speed = 1.0) {
    try {
        return makeCamera(key, options, speed, {}) ? "" : "no camera";
    } catch (const std::invalid_argument& problem) {
        return problem.what();
    }
}

} // namespace

TEST(Catalogue, MakesEveryModelItLists) {
    ASSERT_FALSE(models().empty());
    for (const ModelInfo& model : models()) {
        const auto camera = makeCamera(model.key, {}, 1.0, {});
        ASSERT_TRUE(camera);
        const auto descriptors = camera->descriptors();
        EXPECT_EQ(descriptors[10] + 256 * descriptors[11], model.productId) << model.key;
    }
}

TEST(Catalogue, TakesItsOptions) {
    const std::pair<const char*, const char*> options[] = {
        {"serial", "4294967295"}, {"seed", "18446744073709551615"},
        {"ambient", "-12.5"},     {"shutter", "0"},
        {"wheel", "10"},          {"cooler", "onoff"},
        {"guide", "1"},           {"colour", "3"},
        {"firmware", "required"}, {"firmware", "any"}};
    for (const auto& [name, value] : options)
        EXPECT_EQ(complaint("ridge-c", {{name, value}}), "") << name;
}

TEST(Catalogue, SaysWhatWasWrongAndWhatIsAccepted) {
    EXPECT_EQ(complaint("ridge-x", {}),
              "unknown camera model \"ridge-x\"; there are basin-a, basin-b, basin-c, ridge-a, "
              "ridge-b, ridge-c, ridge-d, ridge-e, ridge-v, heron-a, heron-b, heron-c, glint-c, "
              "glint-m, lumen-a, lumen-b, lumen-c");
    EXPECT_EQ(complaint("ridge-c", {{"colour", "4"}}),
              "option colour=4 is not accepted: colour takes a number from 0 to 3");
    EXPECT_EQ(complaint("ridge-c", {{"cooler", "ice"}}),
              "option cooler=ice is not accepted: cooler takes none, always, onoff, power or "
              "setpoint");
    EXPECT_EQ(
        complaint("ridge-c", {{"size", "1"}}),
        "unknown option \"size\" of ridge-c; there are serial, seed, ambient, drift-x, drift-y, "
        "periodic-error, period, shutter, wheel, cooler, guide, guide-rate, ping, colour, "
        "firmware");
    EXPECT_EQ(complaint("ridge-c", {{"firmware", "yes"}}),
              "option firmware=yes is not accepted: firmware takes any or required");
    for (const char* value : {"", "-1", "7x", "4294967296", " 1"})
        EXPECT_NE(complaint("ridge-c", {{"serial", value}}), "") << value;
    for (const char* value : {"nan", "inf", "51", "1,5", ""})
        EXPECT_NE(complaint("ridge-c", {{"ambient", value}}), "") << value;
    EXPECT_NE(complaint("ridge-c", {{"guide", "yes"}}), "");
    for (const double speed : {0.0, -1.0, 1e9, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_NE(complaint("ridge-c", {}, speed), "");
}

} // namespace tavo::virtualcamera::test
