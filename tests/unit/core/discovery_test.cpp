// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/unit_test.h"

#include <array>

namespace tavo::test {
namespace {

constexpr std::uint16_t kVendor = 0x1278;

class DiscoveryTest : public UnitTest {
protected:
    // The context is made once in a process; most tests are about what comes after.
    DiscoveryTest() {
        TavoCamera* none[1] = {};
        TavoCamera::list(none, 1);
        usb().reset();
    }
};

// Lists what is plugged and owns it.
class Listed {
public:
    explicit Listed(int max) : cameras(static_cast<std::size_t>(max) + 1, nullptr) {
        count = TavoCamera::list(cameras.data(), max);
    }
    ~Listed() {
        for (TavoCamera* camera : cameras)
            TavoCamera_destroy(camera);
    }
    Listed(const Listed&) = delete;
    Listed& operator=(const Listed&) = delete;

    TavoCameraImpl& camera(std::size_t number) {
        return dynamic_cast<TavoCameraImpl&>(*cameras.at(number));
    }

    int count = 0;
    std::vector<TavoCamera*> cameras;
};

const struct {
    const char* name;
    std::uint16_t product;
    CAMERA_TYPE type;
} kModels[]{
    {"Tavo Heron", 0xdf2e, HERON_CAMERA},   {"Brisel Heron", 0xdf2f, HERON_CAMERA},
    {"Tavo Heron A", 0xdfab, HERON_CAMERA}, {"Tavo Heron B", 0xdfad, HERON_CAMERA},
    {"Tavo Heron C", 0xdfae, HERON_CAMERA}, {"Tavo Ridge A", 0xdf29, RIDGE_CAMERA},
    {"Tavo Ridge B", 0xdf2b, RIDGE_CAMERA}, {"Tavo Ridge C", 0xdf2c, RIDGE_CAMERA},
    {"Tavo Ridge D", 0xdf30, RIDGE_CAMERA}, {"Tavo Ridge E", 0xdf31, RIDGE_CAMERA},
    {"Tavo Ridge F", 0xdf33, RIDGE_CAMERA}, {"Tavo Ridge G", 0xdf34, RIDGE_CAMERA},
    {"Tavo Ridge H", 0xdf35, RIDGE_CAMERA}, {"Tavo Ridge J", 0xdf36, RIDGE_CAMERA},
    {"Tavo Ridge K", 0xdf3a, RIDGE_CAMERA}, {"Tavo Lumen A", 0xdf3b, LUMEN_CAMERA},
    {"Tavo Ridge L", 0xdf3c, RIDGE_CAMERA}, {"Tavo Ridge M", 0xdf3d, RIDGE_CAMERA},
    {"Tavo Ridge N", 0xdf3e, RIDGE_CAMERA}, {"Tavo Lumen B", 0xdf3f, LUMEN_CAMERA},
    {"Tavo Ridge P", 0xdfac, RIDGE_CAMERA}, {"Tavo Ridge Q", 0xdfb0, RIDGE_CAMERA},
    {"Tavo Ridge R", 0xdfb4, RIDGE_CAMERA}, {"Tavo Ridge S", 0xdfb5, RIDGE_CAMERA},
    {"Tavo Ridge T", 0xdfb6, RIDGE_CAMERA}, {"Tavo Ridge U", 0xdfb8, RIDGE_CAMERA},
    {"Tavo Lumen C", 0xdfbb, LUMEN_CAMERA}, {"Tavo Glint C", 0x2004, GLINT_CAMERA},
    {"Tavo Glint M", 0x2005, GLINT_CAMERA}, {"Tavo Basin A", 0xdf28, BASIN_CAMERA},
    {"Tavo Basin B", 0xdfb7, BASIN_CAMERA}, {"Corvane Basin", 0xdfa8, BASIN_CAMERA},
    {"Tavo Ridge V", 0xdf50, RIDGE_CAMERA},
};

TEST_F(DiscoveryTest, EveryModelIsKnown) {
    std::vector<std::pair<std::uint16_t, std::uint16_t>> all;
    for (const auto& model : kModels)
        all.emplace_back(kVendor, model.product);
    usb().plug(all);
    Listed listed(100);
    ASSERT_EQ(listed.count, 33);
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_STREQ(listed.camera(i).getName(), kModels[i].name);
        EXPECT_EQ(CameraPeer(listed.camera(i)).type(), kModels[i].type);
    }
}

// Any other product id, over the whole range.
TEST_F(DiscoveryTest, NothingElseIsACamera) {
    std::vector<std::pair<std::uint16_t, std::uint16_t>> others;
    for (unsigned product = 0; product <= 0xFFFF; ++product) {
        const bool known = std::any_of(std::begin(kModels), std::end(kModels),
                                       [&](const auto& model) { return model.product == product; });
        if (!known)
            others.emplace_back(kVendor, static_cast<std::uint16_t>(product));
    }
    usb().plug(others);
    Listed listed(1);
    EXPECT_EQ(listed.count, 0);
    EXPECT_EQ(listed.cameras[0], nullptr);
}

TEST_F(DiscoveryTest, VendorIsNotLookedAt) {
    usb().plug({{0x0000, 0x2004}, {0xFFFF, 0x2004}});
    Listed listed(4);
    ASSERT_EQ(listed.count, 2);
    EXPECT_STREQ(listed.camera(0).getName(), "Tavo Glint C");
}

TEST_F(DiscoveryTest, ConversationAndTrace) {
    usb().plug({{0x1278, 0x0999}, {0x1278, 0xdf2e}, {0x0456, 0xdf3c}});
    usb().expect({device(Call::deviceList), device(Call::descriptor), device(Call::descriptor),
                  device(Call::refDevice), device(Call::descriptor), device(Call::refDevice)});
    CapturedTrace trace;
    Listed listed(5);
    EXPECT_EQ(listed.count, 2);
    EXPECT_EQ(trace.lines(),
              (Lines{"-> TavoCamera::list(...)", "    [0x1278, 0x0999] found...",
                     "    [0x1278, 0xdf2e] found...", "    'Tavo Heron' matched...",
                     " -> TavoCameraImpl::TavoCameraImpl(..., Tavo Heron, 3)",
                     "     quickerStartExposureDelay = 200000", "     quickerReadCCDDelay = 100000",
                     "     maxPacketSize = 25165824", " <- TavoCameraImpl::TavoCameraImpl",
                     "    [0x0456, 0xdf3c] found...", "    'Tavo Ridge L' matched...",
                     " -> TavoCameraImpl::TavoCameraImpl(..., Tavo Ridge L, 2)",
                     "     maxPacketSize = 25165824", " <- TavoCameraImpl::TavoCameraImpl",
                     "<- TavoCamera::list 2"}));
}

TEST_F(DiscoveryTest, StopsAtTheMaximumWithoutLookingFurther) {
    usb().plug({{kVendor, 0xdf29}, {kVendor, 0xdf2b}, {kVendor, 0xdf2c}});
    usb().expect({device(Call::deviceList), device(Call::descriptor), device(Call::refDevice),
                  device(Call::descriptor), device(Call::refDevice)});
    Listed listed(2);
    EXPECT_EQ(listed.count, 2);
    EXPECT_STREQ(listed.camera(1).getName(), "Tavo Ridge B");
    EXPECT_EQ(listed.cameras[2], nullptr);
}

TEST_F(DiscoveryTest, CamerasKeepTheirDevices) {
    usb().plug({{kVendor, 0x0001}, {kVendor, 0x2005}});
    Listed listed(3);
    ASSERT_EQ(listed.count, 1);
    const libusb_device* kept = CameraPeer(listed.camera(0)).device();
    EXPECT_EQ(kept->product, 0x2005);
    EXPECT_EQ(kept->references, 2) << "one of the list and one of the camera";
    EXPECT_EQ(CameraPeer(listed.camera(0)).handle(), nullptr);
}

TEST_F(DiscoveryTest, ListingTwiceMakesTwoObjects) {
    usb().plug({{kVendor, 0xdf50}});
    Listed first(1);
    Listed second(1);
    EXPECT_EQ(first.count + second.count, 2);
    EXPECT_NE(first.cameras[0], second.cameras[0]);
    first.camera(0).setParam(MAX_PACKET_SIZE, 512);
    EXPECT_EQ(second.camera(0).getParam(MAX_PACKET_SIZE), 25165824);
}

TEST_F(DiscoveryTest, UnreadableDescriptorIsSkipped) {
    usb().plug({{kVendor, 0xdf29}, {kVendor, 0xdf2b}});
    usb().expect({device(Call::deviceList), device(Call::descriptor, LIBUSB_ERROR_IO),
                  device(Call::descriptor), device(Call::refDevice)});
    CapturedTrace trace;
    Listed listed(5);
    ASSERT_EQ(listed.count, 1);
    EXPECT_STREQ(listed.camera(0).getName(), "Tavo Ridge B");
    EXPECT_EQ(trace.lines()[1], "    libusb_get_device_descriptor -> LIBUSB_ERROR_IO");
    EXPECT_EQ(trace.lines()[2], "    [0x1278, 0xdf2b] found...");
}

// The message has no line feed, so the exit line follows on the same line.
TEST_F(DiscoveryTest, NoDeviceList) {
    usb().answer(Call::deviceList, LIBUSB_ERROR_NO_MEM);
    CapturedTrace trace;
    Listed listed(1);
    EXPECT_EQ(listed.count, 0);
    EXPECT_EQ(trace.text(), "-> TavoCamera::list(...)\n"
                            "    Can't get device list<- TavoCamera::list 00\n");
}

TEST_F(DiscoveryTest, EmptyBus) {
    CapturedTrace trace;
    Listed listed(1);
    EXPECT_EQ(listed.count, 0);
    EXPECT_EQ(listed.cameras[0], nullptr);
    EXPECT_EQ(trace.lines(), (Lines{"-> TavoCamera::list(...)", "<- TavoCamera::list 0"}));
}

TEST_F(DiscoveryTest, PlainEntryPointForwards) {
    usb().plug({{kVendor, 0xdf28}, {kVendor, 0xdfa8}});
    std::array<TavoCamera*, 3> cameras{};
    ASSERT_EQ(TavoCamera_list(cameras.data(), 3), 2);
    EXPECT_STREQ(cameras[1]->getName(), "Corvane Basin");
    EXPECT_EQ(cameras[2], nullptr);
    for (TavoCamera* camera : cameras)
        TavoCamera_destroy(camera);
}

using DiscoveryDeathTest = DiscoveryTest;

TEST_F(DiscoveryDeathTest, MaximumMustBePositive) {
    TavoCamera* cameras[1] = {};
    for (const int max : {0, -1, -2147483647 - 1}) {
        EXPECT_EXIT(TavoCamera::list(cameras, max), testing::ExitedWithCode(1),
                    assertionText("max>0", 2756));
    }
    EXPECT_EXIT(TavoCamera_list(cameras, 0), testing::ExitedWithCode(1),
                assertionText("max>0", 2756));
}

// The assertion comes before the entry line.
TEST_F(DiscoveryDeathTest, AssertionIsAllThatIsTraced) {
    TavoCamera* cameras[1] = {};
    EXPECT_EXIT(
        {
            TavoDebug = 1;
            TavoCamera::list(cameras, 0);
        },
        testing::ExitedWithCode(1), assertionText("max>0", 2756));
}

// A process of its own: the context is made once.
class ContextDeathTest : public UnitTest {
protected:
    ContextDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

[[noreturn]] void listThreeTimes() {
    TavoDebug = 1;
    TavoCamera* cameras[1] = {};
    usb().answer(Call::init, LIBUSB_ERROR_OTHER);
    const bool failed = TavoCamera::list(cameras, 1) == 0 && cameras[0] == nullptr;
    usb().answer(Call::init, 0);
    TavoCamera::list(cameras, 1);
    TavoCamera::list(cameras, 1);
    usb().expectCalls({device(Call::init), device(Call::init), device(Call::deviceList),
                       device(Call::deviceList)});
    std::exit(failed && !testing::Test::HasFailure() ? 0 : 3);
}

TEST_F(ContextDeathTest, FailedContextIsTriedAgain) {
    EXPECT_EXIT(listThreeTimes(), testing::ExitedWithCode(0),
                "^-> TavoCamera::list\\(\\.\\.\\.\\)\n"
                "    libusb_init -> LIBUSB_ERROR_OTHER\n"
                "<- TavoCamera::list 00\n"
                "-> TavoCamera::list\\(\\.\\.\\.\\)\n"
                "<- TavoCamera::list 0\n"
                "-> TavoCamera::list\\(\\.\\.\\.\\)\n"
                "<- TavoCamera::list 0\n$");
}

} // namespace
} // namespace tavo::test
