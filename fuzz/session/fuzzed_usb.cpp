// SPDX-License-Identifier: LGPL-2.1-or-later
#include "session/fuzzed_usb.h"

namespace tavo::fuzz {
namespace {

FuzzedUsb* current = nullptr;

// No session of a few thousand bytes makes more calls, if the longest run of healthy ones is not
// taken over and over.
constexpr std::size_t kMostCalls = 20000;
constexpr unsigned kFirstDeparture = 0xC0;

bool isIn(test::Call call) {
    return call == test::Call::bulkIn || call == test::Call::controlIn;
}

} // namespace

FuzzedUsb* fuzzedUsb() {
    return current;
}

FuzzedUsb::FuzzedUsb(Input& given, test::CameraScript& player, libusb_device* device,
                     CAMERA_TYPE type)
    : input(given), script(player), cameraDevice(device), family(type) {
    current = this;
}

FuzzedUsb::~FuzzedUsb() {
    current = nullptr;
}

FuzzedUsb::Step FuzzedUsb::next() {
    ++calls;
    if (unplugged || calls > kMostCalls)
        return Step::gone;
    if (healthyLeft > 0) {
        --healthyLeft;
        return Step::healthy;
    }
    if (input.empty()) {
        unplugged = true;
        return Step::gone;
    }
    const unsigned byte = input.u8();
    if (byte >= kFirstDeparture)
        return departure(byte - kFirstDeparture);
    healthyLeft = byte < 64 ? byte : std::size_t{byte - 64} * 8;
    return Step::healthy;
}

FuzzedUsb::Step FuzzedUsb::departure(unsigned kind) {
    constexpr unsigned kErrors = 13;
    if (kind < kErrors) {
        error = kind == kErrors - 1 ? LIBUSB_ERROR_OTHER : -static_cast<int>(kind) - 1;
        return Step::failure;
    }
    error = LIBUSB_ERROR_TIMEOUT;
    switch (kind - kErrors) {
    case 0: unplugged = true; return Step::gone;
    case 1: return Step::spoilt;
    case 2: return Step::made;
    case 3: return Step::filled;
    case 4: return Step::lost;
    case 5: return Step::partial;
    case 6: change(); return Step::healthy;
    default: return Step::shortened;
    }
}

void FuzzedUsb::change() {
    switch (input.below(5)) {
    case 0: script.ports.at(input.below(5)) = input.u8(); break;
    case 1: script.eeprom.at(input.u8()) = input.u8(); break;
    case 2: {
        const unsigned command = input.u8();
        script.reply(command, input.bytes(input.below(64)));
        break;
    }
    case 3: script.silence(input.u8()); break;
    default: {
        const unsigned offset = input.u16();
        script.registers[static_cast<std::uint16_t>(offset)] = input.u32();
    }
    }
}

int FuzzedUsb::simple() {
    const Step step = next();
    if (step == Step::gone)
        return LIBUSB_ERROR_NO_DEVICE;
    return step == Step::healthy ? 0 : error;
}

// The script knows no images, nor the word that a HERON_CAMERA sends ahead of them. What a flush
// asks for is longer than the images of the cameras here, or a single byte.
bool FuzzedUsb::isImage(const test::Row& row) const {
    constexpr unsigned kPixels = 0x88, kGlintPixels = 0x81;
    if (row.endpoint == kGlintPixels)
        return true;
    return row.endpoint == kPixels && ((row.length > 1000 && row.length < 100000) ||
                                       (row.length == 3 && family == HERON_CAMERA));
}

int FuzzedUsb::healthy(test::Row& row, test::Bytes& data) {
    if (row.call == test::Call::bulkOut)
        return script.bulkOut(row.endpoint, row.data);
    if (row.call == test::Call::controlOut)
        return script.controlOut(row);
    test::Answer answer = row.call == test::Call::bulkIn ? script.bulkIn(row.endpoint, row.length)
                                                         : script.controlIn(row);
    if (answer.result < 0 && isImage(row)) {
        data.assign(row.length, 0x5C);
        return 0;
    }
    data = std::move(answer.data);
    return std::min(answer.result, 0);
}

// What a read brings stands in `data`; of a write its size counts as what was taken.
int FuzzedUsb::answered(Step step, test::Row& row, test::Bytes& data) {
    const bool in = isIn(row.call);
    if (!in)
        data.assign(row.length, 0);
    switch (step) {
    case Step::gone: data.clear(); return LIBUSB_ERROR_NO_DEVICE;
    case Step::failure: data.clear(); return error;
    case Step::healthy: return healthy(row, data);
    case Step::lost: // the camera never saw it
        if (in)
            data.clear();
        return in ? error : 0;
    case Step::made: data = input.bytes(std::min<std::size_t>(row.length, input.u8())); return 0;
    case Step::filled: data.assign(row.length, input.u8()); return 0;
    case Step::shortened:
    case Step::partial:
    case Step::spoilt: break;
    }
    const int result = healthy(row, data);
    if (step == Step::spoilt && !data.empty())
        data.at(input.u16() % data.size()) ^= input.u8();
    else if (!data.empty())
        data.resize(input.u16() % data.size());
    return step == Step::partial ? error : result;
}

int FuzzedUsb::transfer(test::Row& row, unsigned char* data, int* moved) {
    if (!isIn(row.call))
        row.data.assign(data, data + row.length);
    test::Bytes answer;
    const int result = answered(next(), row, answer);
    answer.resize(std::min(answer.size(), row.length));
    if (isIn(row.call))
        std::copy(answer.begin(), answer.end(), data);
    *moved = static_cast<int>(answer.size());
    return result;
}

} // namespace tavo::fuzz
