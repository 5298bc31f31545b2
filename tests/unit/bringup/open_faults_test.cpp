// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Each transfer of each family's open fails once, in every way.
#include "bringup/fault_sweep.h"
#include "bringup/wire_rows.h"

namespace tavo::test {
namespace {

using enum Effect;

// A firmware request of one byte that moves none has failed.
const Stretch kStopProcessor{"stop of the processor", 1, fatal, fatal};
const Stretch kStartProcessor{"start of the processor", 1, fatal, fatal};
const Stretch kRecords{"record of two bytes", 1, fatal};
const Stretch kOneByteRecord{"record of one byte", 1, fatal, fatal};
const Stretch kPresets{"presets", 5, fatal};
const Stretch kFlush{"flush", 2, tolerated};
const Stretch kIdentity{"product id", 5, fatal};
const Stretch kColour{"colour marker", 4, tolerated};
const Stretch kRunTimeouts{"run-time timeouts", 2, fatal};
const Stretch kSerial{"serial number", 8, fatal};

constexpr std::size_t kLumenPing = 4;

// Two getStrings of "Model" and "Maker", a character a read, and nine other fields.
constexpr std::size_t kFieldReads = 2 * (6 + 6 + 9);

Stretches stretchesOf(CAMERA_TYPE type) {
    const Stretches controller{kStopProcessor, kRecords, kOneByteRecord, kStartProcessor};
    const auto after = [&](Stretches more) {
        more.insert(more.begin(), controller.begin(), controller.end());
        return more;
    };
    switch (type) {
    case BASIN_CAMERA:
        return after({{"presets", 5, retried},
                      kFlush,
                      {"product id", 5, retried},
                      kColour,
                      {"first timeouts and tables", 6, retried},
                      {"ping, which has nine more attempts", 4, tolerated},
                      {"description", 2 + kFieldReads, fatal},
                      {"appInit", 2 + 2, fatal},
                      {"properties", 3 * (2 + 2), fatal},
                      kSerial});
    case RIDGE_CAMERA:
        return after({kPresets,
                      kFlush,
                      kIdentity,
                      kColour,
                      {"parallel timeout and table", 3, fatal},
                      {"ping, which has four more attempts", 5, tolerated},
                      {"description", 3 + kFieldReads, fatal},
                      {"appInit", 3 + 2, fatal},
                      {"properties", 3 * (3 + 2), fatal},
                      {"filter wheel", 3 + 2, fatal},
                      kSerial,
                      kRunTimeouts});
    case HERON_CAMERA:
        return after({kPresets,
                      {"flush", 4, tolerated},
                      kIdentity,
                      kColour,
                      {"tables, lines and serial bus", 4 + 8 + 2 + 3, fatal},
                      {"ping", 4, fatal},
                      {"parallel timeout", 1, fatal},
                      {"description", 4, fatal},
                      kSerial,
                      {"front end settings", 4, fatal},
                      {"front end lines", 8 * (2 + 16 * 3 + 1), fatal},
                      kRunTimeouts});
    case GLINT_CAMERA: return {{"registers", 12, tolerated}};
    case LUMEN_CAMERA:
        return after({kFlush,
                      kIdentity,
                      kColour,
                      {"tables, lines and serial bus", 4 + 8 + 2 + 2, fatal},
                      {"first ping", kLumenPing, fatal},
                      {"parallel timeout", 1, fatal},
                      {"second ping", kLumenPing, fatal},
                      {"description", 2, fatal},
                      {"clear time", 2, fatal},
                      {"appInit", 4, fatal},
                      {"properties", 5 * 2, fatal},
                      {"filter wheel", 2, fatal},
                      kRunTimeouts});
    }
    return {};
}

// Before the first contact a BASIN_CAMERA that fails is one that does not answer.
Stretches withRetries(CAMERA_TYPE type) {
    Stretches stretches = stretchesOf(type);
    if (type != BASIN_CAMERA)
        return stretches;
    for (std::size_t i = 0; i < 4; ++i) {
        stretches[i].onError = retried;
        if (stretches[i].onShortCount == fatal)
            stretches[i].onShortCount = retried;
    }
    return stretches;
}

class OpenFaults : public UnitTest, public ::testing::WithParamInterface<CAMERA_TYPE> {
protected:
    OpenFaults() { setFirmware(kFirmware); }

    // A guide port, and GPIO lines and a wheel where the family has them.
    static CameraScript healthy() {
        const unsigned flags = GetParam() == HERON_CAMERA ? 0x05 : 0x1200;
        return healthyCamera(GetParam(), {.flags = flags});
    }
    static std::size_t opens() {
        std::size_t count = 0;
        for (const Row& row : usb().calls())
            count += row.call == Call::openDevice ? 1 : 0;
        return count;
    }
};

TEST_P(OpenFaults, EachTransferOnce) {
    LosingScript undisturbed(healthy());
    usb().respondWith(&undisturbed);
    const Stretches stretches = withRetries(GetParam());
    ASSERT_TRUE(closedCamera(GetParam())->open());
    ASSERT_EQ(usb().transferCount(), lengthOf(stretches));

    sweep(stretches, [&](const Fallible& fallible) {
        LosingScript script(healthy());
        usb().reset();
        usb().respondWith(&script);
        usb().failTransfer(fallible.number, fallible.fault);
        auto camera = closedCamera(GetParam());
        CameraPeer peer(*camera);
        const bool expected = fallible.effect != fatal;
        EXPECT_EQ(camera->open(), expected) << describe(fallible);
        EXPECT_EQ(peer.handle() != nullptr, expected) << describe(fallible);
        EXPECT_STREQ(camera->getLastError(), expected ? "No error" : "Failed to initialize device")
            << describe(fallible);
        EXPECT_TRUE(peer.lockIsFree()) << describe(fallible);
        EXPECT_EQ(opens(), fallible.effect == retried ? 2u : 1u) << describe(fallible);
        EXPECT_EQ(peer.openRetryCounter(), fallible.effect == retried ? 1 : 0);
    });
}

// From a fatal failure on no transfer is made; the pauses are.
TEST_P(OpenFaults, NothingFollowsAFatalFailure) {
    sweep(withRetries(GetParam()), [&](const Fallible& fallible) {
        if (fallible.effect != fatal || fallible.fault.error != LIBUSB_ERROR_IO)
            return;
        LosingScript script(healthy());
        usb().reset();
        usb().respondWith(&script);
        usb().failTransfer(fallible.number, fallible.fault, Repeat::fromThenOn);
        auto camera = closedCamera(GetParam());
        EXPECT_FALSE(camera->open()) << describe(fallible);
        const std::size_t more = usb().transferCount() - fallible.number;
        // The flush and the colour probe still ask, and find that the camera is gone.
        const bool early = fallible.number <= 4 + 5 + 4 + 5 + 4;
        const std::size_t tolerable = early ? 2 : 0;
        EXPECT_LE(more, tolerable) << describe(fallible);
    });
}

INSTANTIATE_TEST_SUITE_P(Families, OpenFaults, ::testing::ValuesIn(kFamilies),
                         [](const ::testing::TestParamInfo<CAMERA_TYPE>& each) {
                             return familyName(each.param);
                         });

} // namespace
} // namespace tavo::test
