// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A virtual camera of any family, driven by the driver and by a host that makes no sense, in turns,
// perhaps with a cable that goes wrong as planned. Its clock stands still until the input moves it.
//
// It never answers with more than was asked for, keeps its descriptors, and serves again after it
// was plugged in anew.
#include "input.h"
#include "session/process.h"
#include "virtual_camera/cable.h"

#include "camera/family.h"
#include "controller/clock.h"
#include "faults/faulty_device.h"
#include "tavocameraimpl.h"

#include <memory>
#include <new>

using tavo::fuzz::Cable;
using tavo::fuzz::checkedRead;
using tavo::fuzz::Input;
using tavo::fuzz::require;
using tavo::virtualcamera::ManualClock;
using tavo::virtualcamera::Model;
using tavo::virtualusb::Bytes;
using tavo::virtualusb::Device;
using tavo::virtualusb::Fault;
using tavo::virtualusb::Outcome;
using tavo::virtualusb::Reply;

namespace {

constexpr unsigned kMostSteps = 300;
constexpr unsigned kMostTransfers = 2000; // of the driver, in one operation
constexpr std::size_t kLargestArray = 2 << 20;
constexpr std::uint32_t kLongestRead = 1 << 16;
constexpr std::uint8_t kRequests = 0x04, kReplies = 0x86, kLinkOut = 0x02, kLinkIn = 0x88,
                       kFramePipe = 0x81;

Bytes little(std::uint32_t value, unsigned length) {
    Bytes bytes;
    for (unsigned i = 0; i < length; ++i)
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    return bytes;
}

void append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

class Host {
public:
    Host(Input& given, Device& plugged, Cable& between)
        : input(given), device(plugged), cable(between) {}

    void step();
    // What a camera that has just been plugged in has to do: a Glint camera the latter, the others
    // the former.
    bool answersRequests();
    bool takesFrames(const Model& model);

private:
    void release();
    void control(std::uint8_t type, std::uint8_t request, std::uint16_t value, std::uint16_t index,
                 const Bytes& data);
    Bytes frame(std::uint8_t code, bool replyPhase, const Bytes& middle, const Bytes& payload,
                std::uint32_t reply);
    Reply request(std::uint8_t code, bool replyPhase, const Bytes& middle, const Bytes& payload,
                  std::uint32_t reply);
    void command();
    void bringUp();
    void linkRead(std::uint32_t length);
    void standardTraffic();
    void registerAccess();

    Input& input;
    Device& device;
    Cable& cable;
    std::uint8_t transaction = 0;
};

void Host::control(std::uint8_t type, std::uint8_t code, std::uint16_t value, std::uint16_t index,
                   const Bytes& data) {
    device.controlOut({type, code, value, index, static_cast<std::uint16_t>(data.size())}, data);
}

Bytes Host::frame(std::uint8_t code, bool replyPhase, const Bytes& middle, const Bytes& payload,
                  std::uint32_t reply) {
    Bytes bytes{code, transaction++, static_cast<std::uint8_t>(replyPhase ? 0xFF : 0)};
    append(bytes, middle);
    bytes.resize(8);
    append(bytes, little(reply, 4));
    append(bytes, little(static_cast<std::uint32_t>(payload.size()), 4));
    append(bytes, payload);
    return bytes;
}

Reply Host::request(std::uint8_t code, bool replyPhase, const Bytes& middle, const Bytes& payload,
                    std::uint32_t reply) {
    if (device.bulkOut(kRequests, frame(code, replyPhase, middle, payload, reply)) != Outcome::done)
        return {};
    return reply == 0 && !replyPhase ? Reply{Outcome::done, {}}
                                     : checkedRead(device, kReplies, reply + 4);
}

// What every host does first; the processor runs afterwards.
void Host::release() {
    device.setAlternateSetting(0, 1);
    control(0x40, 0xA0, 0xE600, 0, {1});
    control(0x40, 0xA0, 0x0000, 0, {2, 0, 0});
    control(0x40, 0xA0, 0xE600, 0, {0});
}

bool Host::answersRequests() {
    release();
    const Reply reply = request(3, false, {}, {}, 5);
    return reply.outcome == Outcome::done && reply.data.size() == 9;
}

bool Host::takesFrames(const Model& model) {
    constexpr std::uint16_t kInitialise = 0x0000, kMode = 0x0604, kFormat = 0x0608,
                            kTrigger = 0x061C, kSerial = 0x1F20;
    const auto writes = [&](std::uint16_t offset, std::uint32_t value) {
        return device.controlOut({0x40, 0x7F, offset, 0xF0F0, 4}, little(value, 4)) ==
               Outcome::done;
    };
    const Reply serial = device.controlIn({0xC0, 0x7F, kSerial, 0xF0F0, 4});
    if (serial.outcome != Outcome::done || serial.data != little(model.serial, 4) ||
        !writes(kInitialise, 0x80000000))
        return false;
    constexpr std::uint64_t second = 1'000'000;
    cable.wait(second);
    if (!writes(kFormat, 0x40000000) || !writes(kMode, 0x40000000) || !writes(kTrigger, 0x80000000))
        return false;
    cable.wait(10 * second);
    const std::uint32_t length = model.sensor.width * model.sensor.height;
    const Reply frame = checkedRead(device, kFramePipe, length);
    return frame.outcome == Outcome::done && frame.data.size() == length;
}

// Ports, bus time-outs, and tables of the link as the input has them.
void Host::bringUp() {
    release();
    request(2, false, {}, {0x00, 0x9F, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0}, 0);
    request(1, false, {}, {0, 0x80, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0, 0, 0, 0, 0, 0}, 0);
    request(12, false, {1, 50, 0}, {}, 0);
    request(12, false, {0, 0xE8, 3}, {}, 0);
    request(5, false, {0}, {}, 0);
}

void Host::linkRead(std::uint32_t length) {
    request(9, false,
            {0, static_cast<std::uint8_t>(length >> 16), static_cast<std::uint8_t>(length >> 24),
             static_cast<std::uint8_t>(length), static_cast<std::uint8_t>(length >> 8)},
            {}, 0);
    std::uint32_t left = length + 1;
    for (int tries = 0; tries < 6 && left > 0; ++tries) {
        const Reply reply = checkedRead(device, kLinkIn, left);
        left -= static_cast<std::uint32_t>(reply.data.size());
        const auto wake = device.wakeIn();
        if (reply.outcome == Outcome::stalled || reply.outcome == Outcome::gone || !wake)
            return;
        cable.wait(std::min<std::uint64_t>(*wake, 10'000'000) + 1);
    }
    device.cancelled(kLinkIn);
}

// As each family wants them wrapped.
void Host::command() {
    const std::uint8_t number = input.u8();
    const Bytes argument = input.bytes(input.below(20));
    const std::uint8_t reply = input.u8() % 32;
    switch (input.below(3)) {
    case 0: {
        Bytes packet{'C', 0, 'M', 0, 'D', 0, number, 0};
        append(packet, argument);
        packet.resize(packet.size() + packet.size() % 2);
        device.bulkOut(kLinkOut, packet);
        request(10, true, {}, {}, 0);
        break;
    }
    case 1: {
        Bytes packet{0x80, 'V', 'R', 'Q', number};
        append(packet, argument);
        request(4, true, {0, 0, 0, 1, 0}, packet, 0);
        break;
    }
    default: {
        Bytes packet{'C', 'M', 'D', number};
        append(packet, argument);
        packet.resize(packet.size() + reply);
        request(6, false, {2, 3, 0, 1, 0}, packet, static_cast<std::uint32_t>(packet.size()));
    }
    }
    if (reply > 0)
        linkRead(reply);
}

void Host::standardTraffic() {
    switch (input.below(6)) {
    case 0: device.setAlternateSetting(input.below(3), input.below(3)); break;
    case 1: device.reset(); break;
    case 2: device.cancelled(input.u8()); break;
    case 3:
        control(input.u8(), input.u8(), input.u16(), input.u16(), input.bytes(input.u8()));
        break;
    case 4: {
        const std::uint8_t type = input.u8() | 0x80;
        const std::uint8_t code = input.u8();
        const std::uint16_t value = input.u16(), index = input.u16(), length = input.u16();
        const Reply reply = device.controlIn({type, code, value, index, length});
        require(reply.data.size() <= length, "no more than was asked for");
        break;
    }
    default: (void)device.wakeIn();
    }
}

void Host::registerAccess() {
    const std::uint16_t offset = input.u16() & 0x1FFC;
    if (input.flag())
        control(0x40, 0x7F, offset, 0xF0F0, input.bytes(4));
    else
        device.controlIn({0xC0, 0x7F, offset, 0xF0F0, 4});
}

void Host::step() {
    switch (input.below(12)) {
    case 0: bringUp(); break;
    case 1: device.bulkOut(input.u8() & 0x0F, input.bytes(input.u16() % 600)); break;
    case 2: checkedRead(device, input.u8() | 0x80, input.u32() % kLongestRead); break;
    case 3:
        request(static_cast<std::uint8_t>(input.below(14)), input.flag(), input.bytes(5),
                input.bytes(input.below(200)), input.u8());
        break;
    case 4: cable.wait(input.u32() % 5'000'000); break;
    case 5: linkRead(input.u16()); break;
    case 6: registerAccess(); break;
    case 7: standardTraffic(); break;
    case 8: cable.wait(input.u8() * 1000u); break;
    default: command();
    }
}

// The driver at the same cable.
class Driver {
public:
    Driver(Input& given, Cable& between, CAMERA_TYPE type)
        : input(given), cable(between), camera(nullptr, "Camera", type) {}

    // False when the process ended, as it does where a camera does not name its kind of sensor.
    bool operation();

private:
    void serve();
    void ask();
    void expose();
    void image();

    Input& input;
    Cable& cable;
    TavoCameraImpl camera;
};

bool Driver::operation() {
    cable.allow(kMostTransfers);
    try {
        serve();
        return true;
    } catch (const tavo::fuzz::ProcessEnded&) {
        return false;
    }
}

void Driver::serve() {
    switch (input.below(6)) {
    case 0: camera.close(); break;
    case 1: ask(); break;
    case 2: camera.open(); break;
    default:
        if (camera.open())
            expose();
    }
}

void Driver::ask() {
    COOLING_STATE state = COOLING_INACTIVE;
    float number = 0;
    unsigned short lines = 0;
    switch (input.below(14)) {
    case 0: camera.getTemperatureSensorStatus(input.below(4), &number); break;
    case 1: camera.getCoolingStatus(&state, &number, nullptr); break;
    case 2: camera.setCooling(static_cast<float>(input.below(60)) - 40.0f); break;
    case 3: camera.initiateWarmUp(); break;
    case 4: camera.getFilterWheelStatus(nullptr, nullptr, nullptr, nullptr); break;
    case 5: camera.setFilter(input.u8()); break;
    case 6: camera.setShutter(input.flag()); break;
    case 7: camera.setGuideRelays(input.u8()); break;
    case 8: camera.setGPIODirection(input.u16()); break;
    case 9: camera.getGPIO(&lines); break;
    case 10: camera.setGPIO(input.u16()); break;
    case 11: camera.getGain(nullptr, nullptr); break;
    case 12: camera.setGain(static_cast<int>(input.below(64)), input.u16() % 513); break;
    default: camera.abortExposure();
    }
}

void Driver::expose() {
    camera.setPreviewMode(input.flag());
    camera.set8BitMode(input.flag());
    camera.setDarkFrameMode(input.flag());
    const unsigned bin = 1 + input.below(4);
    const unsigned x = input.below(48), y = input.below(32);
    const unsigned width = input.u8() % 60, height = input.u8() % 60;
    if (input.flag()) {
        camera.startExposure(input.flag());
        cable.wait(camera.delay(input.u8() / 16.0));
        if (camera.readCCD(x, y, width, height, bin, bin))
            image();
    } else if (camera.readCCD(x, y, width, height, bin, bin, input.u8() / 64.0)) {
        image();
    }
}

void Driver::image() {
    std::vector<unsigned short> pixels(60 * 60);
    try {
        camera.getImage(pixels.data(), static_cast<unsigned>(pixels.size()) - input.u8());
    } catch (const std::bad_alloc&) { // a camera may call itself larger than memory
    }
}

CAMERA_TYPE typeOf(std::string_view family) {
    constexpr std::pair<std::string_view, CAMERA_TYPE> kTypes[] = {{"basin", BASIN_CAMERA},
                                                                   {"ridge", RIDGE_CAMERA},
                                                                   {"heron", HERON_CAMERA},
                                                                   {"glint", GLINT_CAMERA},
                                                                   {"lumen", LUMEN_CAMERA}};
    for (const auto& [name, type] : kTypes)
        if (name == family)
            return type;
    tavo::fuzz::fail("a family that the driver knows");
}

// A small one, so that whole frames are quick.
Model modelOf(Input& input, const tavo::virtualcamera::CameraFamily& family) {
    const auto models = family.models();
    Model model = models[input.below(static_cast<unsigned>(models.size()))];
    model.sensor.width = model.describedWidth = 48;
    model.sensor.height = model.describedHeight = 32;
    model.filterCount = input.below(6);
    model.gpioLines = input.below(17);
    model.has8BitMode = input.flag();
    model.hasShutter = input.flag();
    model.firmwareRequired = input.flag();
    model.samplesPerPixel = 1 + input.below(2);
    model.mount.driftX = input.u8() / 25.5;
    model.mount.periodicError = input.u8();
    model.mount.period = 300.0 + input.u8(); // shorter ones make long work of long exposures
    return model;
}

tavo::virtualusb::FaultPlan planOf(Input& input) {
    tavo::virtualusb::FaultPlan plan;
    for (unsigned count = input.below(3); count > 0; --count)
        plan.faults.push_back({.where = static_cast<Fault::Where>(input.below(4)),
                               .probability = input.u8() / 255.0,
                               .kind = static_cast<Fault::Kind>(input.below(5)),
                               .delay = input.u16()});
    if (input.flag())
        plan.unplugAfter = input.u8();
    if (input.flag())
        plan.replugDelay = input.u16();
    plan.seed = input.u8();
    return plan;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto families = tavo::virtualcamera::families();
    const auto& family = families[input.below(static_cast<unsigned>(families.size()))];
    const Model model = modelOf(input, family);
    auto clock = std::make_shared<ManualClock>();
    std::uint64_t hostTime = 0;
    std::size_t told = 0; // the journal is put together, too
    auto owned =
        family.assemble(model, clock, [&](const std::string& line) { told += line.size(); });
    Device* const camera = owned.get();
    const Bytes descriptors = camera->descriptors();
    std::unique_ptr<Device> device = std::move(owned);
    if (input.flag())
        device = std::make_unique<tavo::virtualusb::FaultyDevice>(
            std::move(device), planOf(input), [&] { return hostTime; },
            [&](const std::string& line) { told += line.size(); });

    Cable cable(*device, *clock, hostTime);
    const tavo::fuzz::WatchedProcess process(kLargestArray);
    Host host(input, *device, cable);
    Driver driver(input, cable, typeOf(family.name));
    bool driven = true;
    for (unsigned count = 0; count < kMostSteps && !input.empty(); ++count) {
        if (driven && input.flag())
            driven = driver.operation();
        else
            host.step();
    }

    require(device->descriptors() == descriptors, "descriptors as they were");
    Host fresh(input, *camera, cable);
    camera->reset();
    require(family.name == "glint" ? fresh.takesFrames(model) : fresh.answersRequests(),
            "a camera that serves again");
    return 0;
}
