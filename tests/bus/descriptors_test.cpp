// SPDX-License-Identifier: LGPL-2.1-or-later
#include "usb/descriptors.h"

#include "loopback_device.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace tavo::bustest {
namespace {

using virtualusb::Bytes;
using virtualusb::Descriptors;

std::string faultOf(const Bytes& bytes) {
    try {
        const Descriptors descriptors(bytes);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return {};
}

TEST(Descriptors, TellWhatIsInThem) {
    const Descriptors descriptors(makeLoopback()->descriptors());
    EXPECT_EQ(descriptors.vendorId(), kVendor);
    EXPECT_EQ(descriptors.productId(), kProduct);
    EXPECT_EQ(descriptors.configurationValue(), 1);
    EXPECT_EQ(descriptors.interfaceCount(), 1u);
    EXPECT_TRUE(descriptors.hasInterface(0));
    EXPECT_FALSE(descriptors.hasInterface(1));
    ASSERT_TRUE(descriptors.setting(0, 1));
    EXPECT_FALSE(descriptors.setting(0, 2));
    EXPECT_TRUE(findEndpoint(*descriptors.setting(0, 1), kEchoIn));
    EXPECT_FALSE(findEndpoint(*descriptors.setting(0, 0), kEchoIn));
    EXPECT_EQ(descriptors.interfaceOf(kLateIn), 0u);
    EXPECT_EQ(descriptors.interfaceOf(0x0f), std::nullopt);
}

TEST(Descriptors, FaultsAreNamed) {
    const Bytes good = makeLoopback()->descriptors();
    EXPECT_EQ(faultOf(good), "");
    EXPECT_NE(faultOf({}).find("too short"), std::string::npos);
    EXPECT_NE(faultOf(Bytes(good.begin(), good.end() - 1)).find("total length is 69, but 68"),
              std::string::npos);
    Bytes bad = good;
    bad[0] = 17;
    EXPECT_NE(faultOf(bad).find("18-byte device descriptor"), std::string::npos);
    bad = good;
    bad[19] = 3;
    EXPECT_NE(faultOf(bad).find("no configuration"), std::string::npos);
    bad = good;
    bad[27] = 0;
    EXPECT_NE(faultOf(bad).find("wrong length"), std::string::npos);
    bad = good;
    bad[27] = 200;
    EXPECT_NE(faultOf(bad).find("wrong length"), std::string::npos);
}

} // namespace
} // namespace tavo::bustest
