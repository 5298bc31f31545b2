// SPDX-License-Identifier: LGPL-2.1-or-later
#include "glint_host.h"

#include "glint/glint.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace tavo::virtualcamera::test {

using virtualusb::Bytes;
using virtualusb::Outcome;
using virtualusb::Reply;

Model glintModel(const std::string& key) {
    const auto models = glintModels();
    return *std::find_if(models.begin(), models.end(),
                         [&](const Model& model) { return model.key == key; });
}

Model smallGlint(const std::string& key) {
    Model model = glintModel(key);
    model.sensor.width = 320;
    model.sensor.height = 240;
    model.seed = 62;
    return model;
}

GlintHost::GlintHost(const Model& model, double speed)
    : clock(std::make_shared<ManualClock>(speed)), pixels(model.sensor.width * model.sensor.height),
      camera(assembleGlint(model, clock,
                           [this](const std::string& line) { lines.push_back(line); })) {}

bool GlintHost::logged(const std::string& part) const {
    return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(part) != std::string::npos;
    });
}

void GlintHost::wait(double seconds) {
    clock->advance(static_cast<Microseconds>(std::llround(seconds * 1000000.0)));
}

bool GlintHost::write(std::uint16_t offset, std::uint32_t value) {
    const Bytes data{
        static_cast<std::uint8_t>(value & 0xFF), static_cast<std::uint8_t>(value >> 8 & 0xFF),
        static_cast<std::uint8_t>(value >> 16 & 0xFF), static_cast<std::uint8_t>(value >> 24)};
    return camera->controlOut({0x40, 0x7F, offset, 0xF0F0, 4}, data) == Outcome::done;
}

bool GlintHost::writeFloat(std::uint16_t offset, float value) {
    return write(offset, std::bit_cast<std::uint32_t>(value));
}

std::optional<std::uint32_t> GlintHost::read(std::uint16_t offset) {
    const Reply reply = camera->controlIn({0xC0, 0x7F, offset, 0xF0F0, 4});
    if (reply.outcome != Outcome::done || reply.data.size() != 4)
        return std::nullopt;
    return reply.data[0] | std::uint32_t{reply.data[1]} << 8 | std::uint32_t{reply.data[2]} << 16 |
           std::uint32_t{reply.data[3]} << 24;
}

float GlintHost::readFloat(std::uint16_t offset) {
    return std::bit_cast<float>(read(offset).value_or(0xFFFFFFFF));
}

void GlintHost::initialise() {
    write(0x0000, 0x80000000);
    wait(0.001);
}

void GlintHost::bringUp() {
    initialise();
    write(0x081C, 0xC2000000);
    write(0x083C, 0xC2000000);
    write(0x0804, 0xC0000000);
    write(0x0800, 0xC2000000);
    writeFloat(0x0938, 2.0F);
    write(0x0818, 0xC2000000);
    writeFloat(0x0948, 1.0F);
    write(0x0820, 0xC2000000);
    writeFloat(0x0928, 1.0F);
}

void GlintHost::expose(double seconds, unsigned binning) {
    const double longest[] = {0.066657, 0.133282, 0.266282, 0.532782};
    float rate = 15.0F;
    for (const double limit : longest) {
        if (seconds < limit) {
            writeFloat(0x0968, rate);
            writeFloat(0x0918, static_cast<float>(seconds));
            break;
        }
        rate /= 2.0F;
    }
    write(0x0608, binning == 1 ? 0x40000000 : 0x00000000);
    write(0x0604, binning == 1 ? 0x40000000 : 0xA0000000);
    write(0x061C, 0x80000000);
}

Bytes GlintHost::fetch(std::uint32_t length) {
    for (;;) {
        Reply reply = camera->bulkIn(0x81, length);
        if (reply.outcome == Outcome::done)
            return reply.data;
        const auto wake = camera->wakeIn();
        if (reply.outcome != Outcome::nothing || !wake)
            return {};
        clock->advance(std::max<Microseconds>(*wake, 1));
    }
}

Bytes GlintHost::image(double seconds, unsigned binning) {
    expose(seconds, binning);
    return fetch(pixels / (binning * binning));
}

} // namespace tavo::virtualcamera::test
