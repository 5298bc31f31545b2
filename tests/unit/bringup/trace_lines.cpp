// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/trace_lines.h"

#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>

namespace tavo::test {
namespace {

std::string named(const std::string& name) {
    return "TavoCameraImpl::" + name;
}

std::string count(std::size_t number) {
    return std::to_string(number);
}

} // namespace

Lines say(const std::string& words) {
    return {"    " + words};
}

Lines joinedLines(std::initializer_list<Lines> parts) {
    Lines all;
    for (const Lines& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Lines operation(const std::string& entry, const std::string& exit,
                std::initializer_list<Lines> inside) {
    return joinedLines({{"-> " + named(entry)}, joinedLines(inside), {"<- " + named(exit)}});
}

Lines call(const std::string& entry, const std::string& exit, std::initializer_list<Lines> inside) {
    Lines lines = operation(entry, exit, inside);
    for (std::string& line : lines)
        line.insert(0, " ");
    return lines;
}

Lines done(const std::string& entry) {
    return call(entry, entry.substr(0, entry.find('(')) + " 1");
}

std::string dumpOf(const Bytes& bytes) {
    constexpr std::size_t kShown = 4;
    if (bytes.empty())
        return "NULL";
    std::string dumped = "[";
    for (std::size_t i = 0; i < std::min(bytes.size(), kShown); ++i) {
        char byte[8];
        std::snprintf(byte, sizeof byte, "%s0x%02x", i == 0 ? "" : " ", unsigned{bytes[i]});
        dumped += byte;
    }
    return dumped + (bytes.size() > kShown ? "...]" : "]");
}

Lines commandLines(CAMERA_TYPE type, unsigned number, const Bytes& argument, const Bytes& reply) {
    const std::string entry = "sendCommand(" + count(number) + ", " + dumpOf(argument) + ", ..., " +
                              count(argument.size()) + ", " + count(reply.size()) + ")";
    Lines carried;
    if (type == BASIN_CAMERA) {
        const Bytes packet = joined({{'V', 'R', 'Q', static_cast<std::uint8_t>(number)}, argument});
        carried = done("i2cWrite(64, " + dumpOf(packet) + ", " + count(packet.size()) + ")");
    }
    return call(entry, "sendCommand 1 " + dumpOf(reply), {carried});
}

Lines eepromLines(unsigned address, const Bytes& given) {
    const std::string length = count(given.size());
    const Bytes pointer{0, static_cast<std::uint8_t>(address & 0xFF)};
    return call("eepRead(" + count(address) + ", ..., " + length + ")",
                "eepRead 1 " + dumpOf(given),
                {done("i2cWrite(81, " + dumpOf(pointer) + ", 2)"),
                 call("i2cRead(81, ..., " + length + ")", "i2cRead 1 " + dumpOf(given))});
}

Lines quietSection() {
    return joinedLines({say("----- DEBUG OFF -----"), say("----- DEBUG ON -----")});
}

Lines usbLines(CAMERA_TYPE type) {
    return joinedLines({say("libusb_claim_interface() -> LIBUSB_SUCCESS"),
                        type == GLINT_CAMERA
                            ? Lines{}
                            : say("libusb_set_interface_alt_setting() -> LIBUSB_SUCCESS")});
}

Lines controllerLines(CAMERA_TYPE type) {
    const Lines presets =
        joinedLines({done("setPortDirection(0, 159)"), done("setPortState(0, 128)"),
                     done("i2cSetTimeout(50)"), done("setParTimeout(50)"), done("i2cSetSpeed(0)")});
    const Lines nothing = say("libusb_bulk_transfer -> LIBUSB_ERROR_TIMEOUT");
    return joinedLines(
        {call("writeFW()", "writeFW 1", {say("cpu stopped 1"), say("cpu started 1")}),
         type == LUMEN_CAMERA ? Lines{} : presets,
         call("flush()", "flush",
              {type == HERON_CAMERA ? nothing : Lines{}, nothing, say("0 bytes flushed")})});
}

Lines identifyLines(const Bytes& productId, const Bytes& colourMarker, const std::string& colour) {
    return joinedLines({done("i2cSetTimeout(5000)"), eepromLines(3, productId),
                        eepromLines(1000, colourMarker), say(colour)});
}

void expectLines(const Lines& expected, const Lines& actual) {
    for (std::size_t i = 0; i < std::max(expected.size(), actual.size()); ++i) {
        const std::string wanted = i < expected.size() ? expected[i] : "(no more lines)";
        const std::string got = i < actual.size() ? actual[i] : "(no more lines)";
        if (wanted == got)
            continue;
        ADD_FAILURE() << "trace line " << i + 1 << "\n  expected \"" << wanted
                      << "\"\n  actual   \"" << got << '"';
        return;
    }
}

} // namespace tavo::test
