// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What tests of exposure and readout share: cameras in each state of the exposure cycle, and the
// exchanges of each family as rows of a conversation.
#pragma once

#include "fake/unit_test.h"

#include <initializer_list>

namespace tavo::test::exposure {

struct Window {
    unsigned x = 0, y = 0, width = 4, height = 2;
    unsigned binX = 1, binY = 1;
};

class ExposureTest : public UnitTest {};

// Open, idle, with a sensor of 100 x 80 pixels and binning up to 4 x 3.
std::unique_ptr<TavoCameraImpl> idleCamera(CAMERA_TYPE type);
std::unique_ptr<TavoCameraImpl> exposingCamera(CAMERA_TYPE type);
// As a successful readCCD leaves it: the lock held, the window recorded.
std::unique_ptr<TavoCameraImpl> pendingCamera(CAMERA_TYPE type, const Window& window = {});

bool readCCD(TavoCamera& camera, const Window& window);
bool readCCD(TavoCamera& camera, const Window& window, double seconds);

// A command of a BASIN, RIDGE or LUMEN camera. `answer` is what a LUMEN_CAMERA puts in the room
// behind the argument; the other families read no reply here.
Rows command(CAMERA_TYPE type, unsigned number, const Bytes& argument = {},
             const Bytes& answer = {});
Rows commandValue(CAMERA_TYPE type, unsigned number, unsigned value);
Rows kernelPing(const Bytes& answer = {0x00, 0x7B});
Rows applicationPing(const Bytes& answer = {0x00, 0x7C});
Rows lumenPing();
Rows spi(unsigned target, unsigned value);
Rows parallelTimeout(unsigned timeout);
Rows lines(std::uint8_t firstPort); // the state of the I/O lines
Row registerWrite(unsigned offset, std::uint32_t value);
Row registerWrite(unsigned offset, float value);

Bytes words(std::initializer_list<unsigned> values); // low byte first
// All but the last row of an exchange as they are, the last one failing.
Rows endingIn(Rows rows, int error);
// Only the first row, failing.
Rows refused(const Rows& rows, int error = LIBUSB_ERROR_IO);

// The whole conversation of a test; every bulk transfer has the camera's default timeout.
void converse(std::initializer_list<Rows> parts);

struct Expected {
    bool exposing = false, pending = false, lockFree = true;
};
void expectState(TavoCameraImpl& camera, const Expected& expected);
// A failure with its text.
void expectRefused(TavoCamera& camera, bool result, const std::string& text);

// The lines of the outermost operation, without those of the operations inside it.
Lines ownLines(const CapturedTrace& trace);

constexpr const char* kUntouched = "untouched";
void markLastError(TavoCameraImpl& camera);

} // namespace tavo::test::exposure
