// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every transfer of every operation of the link fails once, in every way, on every family; and no
// operation of a closed camera reaches libusb.
#include "fake/camera_script.h"
#include "fake/unit_test.h"

#include <algorithm>
#include <functional>

namespace tavo::test {
namespace {

class LinkFaultsTest : public UnitTest {};

struct Operation {
    const char* name;
    std::vector<CAMERA_TYPE> types;
    std::size_t transfers;
    std::function<bool(CameraPeer&)> run;
};

const std::vector<CAMERA_TYPE> kLinked{BASIN_CAMERA, RIDGE_CAMERA, HERON_CAMERA, LUMEN_CAMERA};
const std::vector<CAMERA_TYPE> kParallelReplies{BASIN_CAMERA, RIDGE_CAMERA};
constexpr const unsigned char* kNoArgument = nullptr;

unsigned char scratch[64];
char text[64];

bool commandWithReply(CameraPeer& peer) {
    return peer.sendCommand(54U, kNoArgument, scratch, 0U, 2U);
}
bool command(CameraPeer& peer) {
    return peer.sendCommand(9U, static_cast<unsigned short>(7));
}
bool readData(CameraPeer& peer) {
    return peer.getData(scratch, 4U);
}
bool readText(CameraPeer& peer) {
    return peer.getString(text, 32U);
}
bool readValue(CameraPeer& peer) {
    unsigned value = 0;
    return peer.getData(&value);
}
bool readLine(CameraPeer& peer) {
    unsigned state = 0;
    return peer.getIOState(4U, &state);
}

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all{
        {"setParTimeout", kLinked, 1, [](auto& peer) { return peer.setParTimeout(1000U); }},
        {"parInit(1)", kLinked, 2, [](auto& peer) { return peer.parInit(1U); }},
        {"parInit(9)", kLinked, 2, [](auto& peer) { return peer.parInit(9U); }},
        {"parIn", kLinked, 2, [](auto& peer) { return peer.parIn(scratch, 8U); }},
        {"parOut", kLinked, 3, [](auto& peer) { return peer.parOut(scratch, 8U); }},
        {"setPortDirection", kLinked, 1,
         [](auto& peer) { return peer.setPortDirection(0U, 0x9FU); }},
        {"setPortState", kLinked, 1, [](auto& peer) { return peer.setPortState(0U, 0x80U); }},
        {"setIODir", kLinked, 1, [](auto& peer) { return peer.setIODir(1U, 1U); }},
        {"setIOState", kLinked, 1, [](auto& peer) { return peer.setIOState(1U, 1U); }},
        {"getIOState", kLinked, 2, readLine},
        {"i2cSetSpeed", kLinked, 1, [](auto& peer) { return peer.i2cSetSpeed(0U); }},
        {"i2cSetTimeout", kLinked, 1, [](auto& peer) { return peer.i2cSetTimeout(50U); }},
        {"i2cWrite", kLinked, 2, [](auto& peer) { return peer.i2cWrite(0x40U, scratch, 3U); }},
        {"i2cRead", kLinked, 2, [](auto& peer) { return peer.i2cRead(0x40U, scratch, 3U); }},
        {"eepRead", kLinked, 4, [](auto& peer) { return peer.eepRead(3U, scratch, 2U); }},
        {"spiInit", {HERON_CAMERA, LUMEN_CAMERA}, 2, [](auto& peer) { return peer.spiInit(); }},
        {"spiWrite", {HERON_CAMERA}, 2, [](auto& peer) { return peer.spiWrite(5U, 1000U); }},
        {"setADC", {HERON_CAMERA}, 4 + 8 * 51, [](auto& peer) { return peer.setADC(); }},
        {"command", {RIDGE_CAMERA}, 3, command},
        {"command", {BASIN_CAMERA, LUMEN_CAMERA}, 2, command},
        {"command with reply", {RIDGE_CAMERA}, 5, commandWithReply},
        {"command with reply", {BASIN_CAMERA}, 4, commandWithReply},
        {"command with reply", {LUMEN_CAMERA}, 2, commandWithReply},
        {"getData", {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA}, 2, readData},
        {"getData of a value", {BASIN_CAMERA, RIDGE_CAMERA, LUMEN_CAMERA}, 2, readValue},
        {"getString", kParallelReplies, 6, readText},
        {"ping", {HERON_CAMERA, LUMEN_CAMERA}, 4, [](auto& peer) { return peer.ping(); }},
        {"appInit", {RIDGE_CAMERA}, 5, [](auto& peer) { return peer.appInit(); }},
        {"appInit", {BASIN_CAMERA, LUMEN_CAMERA}, 4, [](auto& peer) { return peer.appInit(); }},
    };
    return all;
}

// Runs on a healthy camera with two characters and a zero, or a value, waiting on the link.
class Attempt {
public:
    Attempt(const Operation& operation, CAMERA_TYPE type) : script(healthyCamera(type)) {
        usb().reset();
        script.feed({'A', 0, 'B', 0, 0, 0, 0, 0});
        usb().respondWith(&script);
        run = [this, &operation] {
            CameraPeer peer(*camera);
            return operation.run(peer);
        };
        camera = openedCamera(type);
    }

    CameraScript script;
    std::unique_ptr<TavoCameraImpl> camera;
    std::function<bool()> run;
};

void forEachOperation(const std::function<void(const Operation&, CAMERA_TYPE)>& check) {
    for (const Operation& operation : operations()) {
        for (const CAMERA_TYPE type : operation.types) {
            SCOPED_TRACE(std::string(operation.name) + " of " + familyName(type));
            check(operation, type);
        }
    }
}

TEST_F(LinkFaultsTest, HealthyCameraMakesTheTransfersThatAreCounted) {
    forEachOperation([](const Operation& operation, CAMERA_TYPE type) {
        Attempt healthy(operation, type);
        EXPECT_TRUE(healthy.run());
        EXPECT_EQ(usb().transferCount(), operation.transfers);
    });
}

TEST_F(LinkFaultsTest, EveryErrorEndsTheOperation) {
    forEachOperation([](const Operation& operation, CAMERA_TYPE type) {
        for (const Fault& fault : kErrors) {
            for (std::size_t number = 1; number <= operation.transfers; ++number) {
                Attempt faulty(operation, type);
                usb().failTransfer(number, fault);
                EXPECT_FALSE(faulty.run()) << fault.name << " in transfer " << number;
                EXPECT_EQ(usb().transferCount(), number);
                EXPECT_STREQ(faulty.camera->getLastError(), "No error");
                EXPECT_TRUE(CameraPeer(*faulty.camera).lockIsFree());
            }
        }
    });
}

// The rest of a short read is asked for; a short write goes unnoticed.
TEST_F(LinkFaultsTest, ShortCountsAreNoErrors) {
    forEachOperation([](const Operation& operation, CAMERA_TYPE type) {
        for (std::size_t number = 1; number <= operation.transfers; ++number) {
            Attempt faulty(operation, type);
            usb().failTransfer(number, kShortCount);
            EXPECT_TRUE(faulty.run()) << "transfer " << number;
            const bool read = usb().transfers()[number - 1].call == Call::bulkIn;
            EXPECT_EQ(usb().transferCount(), operation.transfers + (read ? 1 : 0));
        }
    });
}

// A counting ping goes on to its next attempt.
TEST_F(LinkFaultsTest, EveryErrorCostsAPingOneAttempt) {
    const struct {
        CAMERA_TYPE type;
        std::size_t transfers;
        long pause;
    } rows[]{{RIDGE_CAMERA, 5, 20000}, {BASIN_CAMERA, 4, 50000}};
    for (const auto& row : rows) {
        for (const Fault& fault : kErrors) {
            for (std::size_t number = 1; number <= row.transfers; ++number) {
                usb().reset();
                CameraScript script = healthyCamera(row.type);
                usb().respondWith(&script);
                usb().failTransfer(number, fault);
                const auto camera = openedCamera(row.type);
                EXPECT_TRUE(CameraPeer(*camera).ping()) << fault.name << number;
                EXPECT_EQ(usb().pauses(), std::vector<long>(2, row.pause));
            }
        }
    }
}

TEST_F(LinkFaultsTest, TraceNamesTheError) {
    forEachOperation([](const Operation& operation, CAMERA_TYPE type) {
        Attempt faulty(operation, type);
        usb().failTransfer(1, kNoDevice);
        CapturedTrace trace;
        EXPECT_FALSE(faulty.run());
        EXPECT_NE(trace.text().find("libusb_bulk_transfer -> LIBUSB_ERROR_NO_DEVICE"),
                  std::string::npos);
    });
}

TEST_F(LinkFaultsTest, ClosedCameraMakesNoCall) {
    forEachOperation([](const Operation& operation, CAMERA_TYPE type) {
        usb().reset();
        const auto camera = closedCamera(type);
        CameraPeer peer(*camera);
        EXPECT_FALSE(operation.run(peer));
        EXPECT_EQ(usb().transferCount(), 0U);
    });
}

TEST_F(LinkFaultsTest, ClosedCameraHasNoFirmwareRegistersOrPing) {
    for (const CAMERA_TYPE type : kLinked) {
        const auto camera = closedCamera(type);
        CameraPeer peer(*camera);
        EXPECT_FALSE(peer.ping());
        EXPECT_FALSE(peer.writeFW());
        peer.flush();
    }
    const auto glint = closedCamera(GLINT_CAMERA);
    CameraPeer peer(*glint);
    EXPECT_EQ(peer.readRegister(0xFFFFF0F00000ULL), 0U);
    EXPECT_LT(peer.writeRegister(0xFFFFF0F00000ULL, 1U), 0);
    EXPECT_EQ(peer.readAbsValue(0xFFFFF0F00000ULL), 0.0F);
    peer.writeAbsValue(0xFFFFF0F00000ULL, 1.0F);
    EXPECT_EQ(usb().transferCount(), 0U);
}

} // namespace
} // namespace tavo::test
