// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/trace_lines.h"
#include "bringup/wire_rows.h"
#include "fake/unit_test.h"

namespace tavo::test {
namespace {

constexpr CAMERA_TYPE kServed[]{RIDGE_CAMERA, LUMEN_CAMERA};
constexpr CAMERA_TYPE kUnserved[]{BASIN_CAMERA, HERON_CAMERA, GLINT_CAMERA, kUnknownFamily};

class FilterWheel : public UnitTest {
protected:
    void use(CAMERA_TYPE type) {
        usb().reset();
        camera = openedCamera(type);
        peer().hasFilterWheel() = true;
        count = current = target = 77;
        moving = false;
    }
    bool read() { return camera->getFilterWheelStatus(&count, &moving, &current, &target); }
    CameraPeer peer() { return CameraPeer(*camera); }

    std::unique_ptr<TavoCameraImpl> camera;
    unsigned count = 0, current = 0, target = 0;
    bool moving = false;
};

struct Status {
    CAMERA_TYPE type;
    Bytes reply;
    unsigned count;
    bool moving;
    unsigned current, target;
};

TEST_F(FilterWheel, EachFamilyHasALayout) {
    for (const Status& status :
         {Status{RIDGE_CAMERA, {5, 9, 1, 9, 2, 9, 4, 9}, 5, true, 2, 4},
          Status{RIDGE_CAMERA, {255, 1, 0, 1, 254, 1, 253, 1}, 255, false, 254, 253},
          Status{LUMEN_CAMERA, {0, 7, 0, 0, 0, 3, 0, 3}, 7, false, 3, 3},
          Status{LUMEN_CAMERA, {1, 2, 1, 0, 3, 4, 5, 6}, 0x102, true, 0x304, 0x506}}) {
        use(status.type);
        usb().expect(within(30000, command(status.type, 135, {}, status.reply)));
        CapturedTrace trace;
        EXPECT_TRUE(read());
        EXPECT_EQ(count, status.count);
        EXPECT_EQ(moving, status.moving);
        EXPECT_EQ(current, status.current);
        EXPECT_EQ(target, status.target);
        EXPECT_STREQ(camera->getLastError(), "No error");
        EXPECT_TRUE(peer().lockIsFree());
        expectLines(operation("getFilterWheelStatus(...)", "getFilterWheelStatus 1",
                              {say("lock()"), commandLines(status.type, 135, {}, status.reply),
                               say("filter count: " + std::to_string(count)),
                               say(moving ? "moving: 1" : "moving: 0"),
                               say("current: " + std::to_string(current)),
                               say("target: " + std::to_string(target)), say("unlock()")}),
                    trace.lines());
        usb().verify();
    }
}

TEST_F(FilterWheel, OutputsAreOptionalOneByOne) {
    const Bytes reply{5, 0, 1, 0, 2, 0, 4, 0};
    for (unsigned wanted = 0; wanted < 16; ++wanted) {
        use(RIDGE_CAMERA);
        usb().expect(command(RIDGE_CAMERA, 135, {}, reply));
        EXPECT_TRUE(camera->getFilterWheelStatus(
            (wanted & 1) != 0 ? &count : nullptr, (wanted & 2) != 0 ? &moving : nullptr,
            (wanted & 4) != 0 ? &current : nullptr, (wanted & 8) != 0 ? &target : nullptr));
        EXPECT_EQ(count, (wanted & 1) != 0 ? 5u : 77u);
        EXPECT_EQ(moving, (wanted & 2) != 0);
        EXPECT_EQ(current, (wanted & 4) != 0 ? 2u : 77u);
        EXPECT_EQ(target, (wanted & 8) != 0 ? 4u : 77u);
    }
}

TEST_F(FilterWheel, WithoutAWheel) {
    for (const CAMERA_TYPE type : kFamilies) {
        use(type);
        peer().hasFilterWheel() = false;
        peer().lock();
        CapturedTrace trace;
        EXPECT_FALSE(read());
        EXPECT_STREQ(camera->getLastError(), "Unsupported operation");
        peer().lastError() = "other";
        EXPECT_FALSE(camera->setFilter(3));
        EXPECT_STREQ(camera->getLastError(), "Unsupported operation");
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_FALSE(peer().lockIsFree());
        expectLines(joinedLines({operation("getFilterWheelStatus(...)", "getFilterWheelStatus 00"),
                                 operation("setFilter(3)", "setFilter 00")}),
                    trace.lines());
    }
}

TEST_F(FilterWheel, UnservedFamilies) {
    for (const CAMERA_TYPE type : kUnserved) {
        use(type);
        CapturedTrace trace;
        EXPECT_FALSE(read());
        EXPECT_STREQ(camera->getLastError(), "Failed to get filter wheel status");
        EXPECT_EQ(count, 77u);
        EXPECT_FALSE(camera->setFilter(3));
        EXPECT_STREQ(camera->getLastError(), "Failed to set filter");
        EXPECT_TRUE(usb().calls().empty());
        EXPECT_TRUE(peer().lockIsFree());
        const Lines locked = joinedLines({say("lock()"), say("unlock()")});
        expectLines(
            joinedLines({operation("getFilterWheelStatus(...)", "getFilterWheelStatus 0", {locked}),
                         operation("setFilter(3)", "setFilter 0", {locked})}),
            trace.lines());
    }
}

TEST_F(FilterWheel, FailedStatusLeavesTheOutputs) {
    for (const CAMERA_TYPE type : kServed) {
        use(type);
        usb().failTransfer(1, kPipe, Repeat::fromThenOn);
        EXPECT_FALSE(read());
        EXPECT_STREQ(camera->getLastError(), "Failed to get filter wheel status");
        EXPECT_EQ(count, 77u);
        EXPECT_EQ(target, 77u);
        EXPECT_TRUE(peer().lockIsFree());
    }
}

struct Selection {
    CAMERA_TYPE type;
    unsigned position;
    Bytes argument;
    Bytes reply;
    bool accepted;
};

TEST_F(FilterWheel, Selecting) {
    for (const Selection& each : {
             Selection{RIDGE_CAMERA, 3, {3, 0}, {1, 0}, true},
             Selection{RIDGE_CAMERA, 0x1203, {0x03, 0x12}, {255, 0}, true},
             Selection{RIDGE_CAMERA, 0x51203, {0x03, 0x12}, {7, 0}, true},
             Selection{RIDGE_CAMERA, 3, {3, 0}, {0, 1}, false},
             Selection{LUMEN_CAMERA, 3, {0, 3}, {0, 1}, true},
             Selection{LUMEN_CAMERA, 0x1203, {0, 3}, {1, 0}, true}, // the high byte is dropped
             Selection{LUMEN_CAMERA, 3, {0, 3}, {0, 0}, false},
         }) {
        use(each.type);
        usb().expect(within(30000, command(each.type, 136, each.argument, each.reply)));
        CapturedTrace trace;
        EXPECT_EQ(camera->setFilter(each.position), each.accepted) << each.position;
        EXPECT_STREQ(camera->getLastError(), each.accepted ? "No error" : "Failed to set filter");
        EXPECT_TRUE(peer().lockIsFree());
        expectLines(
            operation("setFilter(" + std::to_string(each.position) + ")",
                      each.accepted ? "setFilter 1" : "setFilter 0",
                      {say("lock()"), commandLines(each.type, 136, each.argument, each.reply),
                       each.accepted ? Lines{} : say("failed to set filter"), say("unlock()")}),
            trace.lines());
        usb().verify();
    }
}

TEST_F(FilterWheel, FailedSelectionIsNotARefusal) {
    for (const CAMERA_TYPE type : kServed) {
        use(type);
        usb().failTransfer(1, kPipe, Repeat::fromThenOn);
        CapturedTrace trace;
        EXPECT_FALSE(camera->setFilter(1));
        EXPECT_STREQ(camera->getLastError(), "Failed to set filter");
        EXPECT_FALSE(trace.contains("    failed to set filter"));
    }
}

} // namespace
} // namespace tavo::test
