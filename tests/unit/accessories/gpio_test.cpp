// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/trace_lines.h"
#include "bringup/wire_rows.h"
#include "fake/unit_test.h"

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kServed[]{RIDGE_CAMERA, LUMEN_CAMERA};

class GPIO : public UnitTest {
protected:
    void use(CAMERA_TYPE type) {
        usb().reset();
        camera = openedCamera(type);
        peer().hasGPIO() = true;
        lines = 0x7777;
    }
    CameraPeer peer() { return CameraPeer(*camera); }

    std::unique_ptr<TavoCameraImpl> camera;
    unsigned short lines = 0;
};

// The two operations that send a mask.
struct Setter {
    const char* name;
    std::uint8_t command;
    bool (TavoCameraImpl::*run)(unsigned short);
    const char* lastError;
};
const Setter kSetters[]{
    {"setGPIODirection", 131, &TavoCameraImpl::setGPIODirection, "Failed to set GPIO direction"},
    {"setGPIO", 132, &TavoCameraImpl::setGPIO, "Failed to set GPIO"},
};

std::string entry(const Setter& setter, const std::string& mask) {
    return std::string(setter.name) + "(" + mask + ")";
}
std::string exit(const Setter& setter, const std::string& result) {
    return std::string(setter.name) + " " + result;
}

TEST_F(GPIO, MasksTravelInTheOrderOfTheFamily) {
    for (const CAMERA_TYPE type : kServed) {
        for (const Setter& setter : kSetters) {
            use(type);
            const Bytes argument = type == RIDGE_CAMERA ? Bytes{0x34, 0x12} : Bytes{0x12, 0x34};
            usb().expect(within(30000, command(type, setter.command, argument)));
            CapturedTrace trace;
            EXPECT_TRUE((*camera.*setter.run)(0x1234)) << setter.name;
            EXPECT_STREQ(camera->getLastError(), "No error");
            EXPECT_TRUE(peer().lockIsFree());
            expectLines(operation(entry(setter, "0x1234"), exit(setter, "1"),
                                  {say("lock()"), commandLines(type, setter.command, argument),
                                   say("unlock()")}),
                        trace.lines());
            usb().verify();
        }
    }
}

TEST_F(GPIO, LinesAreRead) {
    struct Reading {
        CAMERA_TYPE type;
        unsigned short lines;
        const char* shown;
    };
    for (const Reading& reading :
         {Reading{RIDGE_CAMERA, 0x1234, "0x1234"}, Reading{LUMEN_CAMERA, 0x3412, "0x3412"}}) {
        use(reading.type);
        const Bytes reply{0, 0, 0x34, 0x12};
        usb().expect(within(30000, command(reading.type, 130, {}, reply)));
        CapturedTrace trace;
        EXPECT_TRUE(camera->getGPIO(&lines));
        EXPECT_EQ(lines, reading.lines);
        EXPECT_TRUE(peer().lockIsFree());
        expectLines(
            operation("getGPIO(...)", std::string("getGPIO 1 -> ") + reading.shown,
                      {say("lock()"), commandLines(reading.type, 130, {}, reply), say("unlock()")}),
            trace.lines());
        usb().verify();
    }
}

TEST_F(GPIO, NowhereToPutTheLines) {
    for (const CAMERA_TYPE type : kServed) {
        use(type);
        usb().expect(command(type, 130, {}, {0, 0, 0x34, 0x12}));
        CapturedTrace trace;
        EXPECT_TRUE(camera->getGPIO(nullptr));
        usb().verify();
    }
}

TEST_F(GPIO, FailedCommands) {
    for (const CAMERA_TYPE type : kServed) {
        for (const Setter& setter : kSetters) {
            use(type);
            usb().failTransfer(1, kPipe, Repeat::fromThenOn);
            CapturedTrace trace;
            EXPECT_FALSE((*camera.*setter.run)(1));
            EXPECT_STREQ(camera->getLastError(), setter.lastError);
            EXPECT_EQ(trace.lines().back(), "<- TavoCameraImpl::" + exit(setter, "0"));
            EXPECT_TRUE(peer().lockIsFree());
        }
        use(type);
        usb().failTransfer(1, kPipe, Repeat::fromThenOn);
        EXPECT_FALSE(camera->getGPIO(&lines));
        EXPECT_STREQ(camera->getLastError(), "Failed to get GPIO");
        EXPECT_NE(lines, 0x7777); // stored all the same
    }
}

TEST_F(GPIO, WithoutLines) {
    for (const CAMERA_TYPE type : kFamilies) {
        use(type);
        peer().hasGPIO() = false;
        peer().gpioLineCount() = 6; // not looked at
        peer().lock();
        const auto refused = [&](bool result) {
            EXPECT_FALSE(result);
            EXPECT_STREQ(camera->getLastError(), "Unsupported operation");
            peer().lastError() = "other";
        };
        CapturedTrace trace;
        refused(camera->setGPIODirection(0xAB));
        refused(camera->setGPIO(0xAB));
        refused(camera->getGPIO(&lines));
        EXPECT_EQ(lines, 0x7777);
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_FALSE(peer().lockIsFree());
        expectLines(joinedLines({operation("setGPIODirection(0x00ab)", "setGPIODirection 00"),
                                 operation("setGPIO(0x00ab)", "setGPIO 00"),
                                 operation("getGPIO(...)", "getGPIO 00")}),
                    trace.lines());
    }
}

TEST_F(GPIO, UnservedFamilies) {
    for (const CAMERA_TYPE type : {BASIN_CAMERA, HERON_CAMERA, GLINT_CAMERA, kUnknownFamily}) {
        for (const Setter& setter : kSetters) {
            use(type);
            CapturedTrace trace;
            EXPECT_FALSE((*camera.*setter.run)(1));
            EXPECT_STREQ(camera->getLastError(), setter.lastError);
            expectLines(operation(entry(setter, "0x0001"), exit(setter, "0"),
                                  {say("lock()"), say("unlock()")}),
                        trace.lines());
        }
        EXPECT_FALSE(camera->getGPIO(&lines));
        EXPECT_STREQ(camera->getLastError(), "Failed to get GPIO");
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_TRUE(peer().lockIsFree());
    }
}

} // namespace
} // namespace tavo::test
