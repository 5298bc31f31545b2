// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/wire_rows.h"
#include "fake/unit_test.h"

namespace tavo::test {
namespace {

struct Marker {
    Bytes bytes;
    COLOUR_TYPE type;
    int offsetX, offsetY;
};

const Marker kMarkers[]{
    {{0x84, 0xD9, 0x01, 0x00, 0x00}, COLOUR_BAYER, 0, 0},
    {{0x84, 0xD9, 0x01, 0x01, 0x00}, COLOUR_BAYER, 0, 1},
    {{0x84, 0xD9, 0x01, 0x02, 0xFF}, COLOUR_BAYER, 1, 0}, // byte 4 is not used
    {{0x84, 0xD9, 0x01, 0x03, 0x00}, COLOUR_BAYER, 1, 1},
    {{0x84, 0xD9, 0x01, 0x04, 0x00}, COLOUR_MONO, 0, 0},
    {{0x84, 0xD9, 0x01, 0x07, 0x00}, COLOUR_MONO, 0, 0},
    {{0x84, 0xD9, 0x01, 0xFF, 0x00}, COLOUR_MONO, 0, 0},
    {{0x85, 0xD9, 0x01, 0x02, 0x00}, COLOUR_MONO, 0, 0},
    {{0x84, 0xD8, 0x01, 0x02, 0x00}, COLOUR_MONO, 0, 0},
    {{0x84, 0xD9, 0x02, 0x02, 0x00}, COLOUR_MONO, 0, 0},
    {{0x00, 0x00, 0x00, 0x02, 0x00}, COLOUR_MONO, 0, 0},
};

class ColourProbe : public UnitTest {
protected:
    ColourProbe() {
        peer.colourType() = COLOUR_BAYER;
        peer.offsetX() = peer.offsetY() = 5;
    }

    void expectColour(COLOUR_TYPE type, int offsetX, int offsetY) {
        EXPECT_EQ(peer.colourType(), type);
        EXPECT_EQ(peer.offsetX(), offsetX);
        EXPECT_EQ(peer.offsetY(), offsetY);
    }

    std::unique_ptr<TavoCameraImpl> camera = openedCamera(RIDGE_CAMERA);
    CameraPeer peer{*camera};
};

// The address 1000 travels as 0x00 0xE8.
TEST_F(ColourProbe, ReadsTheMarker) {
    for (const Marker& marker : kMarkers) {
        usb().expect(eeprom(0xE8, marker.bytes));
        peer.colourType() = COLOUR_BAYER;
        peer.offsetX() = peer.offsetY() = 5;
        CapturedTrace trace;
        peer.checkColour();
        expectColour(marker.type, marker.offsetX, marker.offsetY);
        EXPECT_EQ(trace.lines().back().substr(trace.lines().back().find("colour")),
                  "colour = " + std::to_string(static_cast<int>(marker.type)) +
                      ", offsetX = " + std::to_string(marker.offsetX) +
                      ", offsetY = " + std::to_string(marker.offsetY));
    }
}

TEST_F(ColourProbe, UnreadableMarkerIsMonochrome) {
    for (std::size_t transfer = 1; transfer <= 4; ++transfer) {
        for (const Fault& fault : kErrors) {
            usb().reset();
            usb().queueIn(0x86, {0, 0, 0, 0, 0, 0x84, 0xD9, 0x01, 0x02, 0, 0, 0, 0});
            usb().failTransfer(transfer, fault);
            peer.colourType() = COLOUR_BAYER;
            peer.offsetX() = peer.offsetY() = 5;
            peer.checkColour();
            expectColour(COLOUR_MONO, 0, 0);
            EXPECT_STREQ(camera->getLastError(), "No error");
        }
    }
}

TEST_F(ColourProbe, ShortReadsAreCompleted) {
    usb().queueIn(0x86, {0, 0, 0, 0, 0, 0x84, 0xD9, 0x01, 0x02, 0, 0, 0, 0});
    peer.checkColour();
    expectColour(COLOUR_BAYER, 1, 0);
}

} // namespace
} // namespace tavo::test
