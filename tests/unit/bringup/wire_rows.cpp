// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bringup/wire_rows.h"

namespace tavo::test {
namespace {

constexpr unsigned kI2C = 4;
constexpr unsigned kSerial = 6;
constexpr unsigned kTimeout = 12;

std::uint8_t low(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

Bytes pairs(unsigned port, std::uint8_t mask, std::uint8_t value) {
    Bytes bytes{0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0, 0xFF, 0};
    bytes.at(2 * port) = mask;
    bytes.at(2 * port + 1) = value;
    return bytes;
}

Row lineRow(Row (*request)(unsigned, std::uint8_t, std::uint8_t), unsigned line, bool set) {
    const std::uint8_t bit = low(1u << (line & 7));
    return request(line >> 3, low(~unsigned{bit}), set ? bit : std::uint8_t{0});
}

Rows ridgeCommand(std::uint8_t number, Bytes argument) {
    if (argument.size() % 2 != 0)
        argument.push_back(0);
    return parallelOut(joined({{'C', 0, 'M', 0, 'D', 0, number, 0}, argument}));
}

Rows basinCommand(std::uint8_t number, const Bytes& argument) {
    const Bytes packet = joined({{0x80, 'V', 'R', 'Q', number}, argument});
    return framedExchange({.code = kI2C, .flag = true, .b = 1, .payload = packet}, {});
}

Rows lumenCommand(std::uint8_t number, const Bytes& argument, const Bytes& reply) {
    const Bytes lead = joined({{'C', 'M', 'D', number}, argument});
    return framedExchange({.code = kSerial,
                           .subCode = 2,
                           .a = 3,
                           .b = 1,
                           .payload = joined({lead, Bytes(reply.size())})},
                          joined({lead, reply}));
}

Rows commandWith(CAMERA_TYPE type, std::uint8_t number, const Bytes& argument, const Bytes& reply,
                 const Rows& between) {
    if (type == LUMEN_CAMERA)
        return lumenCommand(number, argument, reply);
    const Rows sent =
        type == RIDGE_CAMERA ? ridgeCommand(number, argument) : basinCommand(number, argument);
    return together({sent, between, reply.empty() ? Rows{} : parallelIn(reply)});
}

// Nothing is queued: the first read finds the link empty.
Rows emptyRead(unsigned length) {
    return {frame({.code = 9, .a = length >> 16, .b = length & 0xFFFF}).within(100),
            inZeros(0x88, std::size_t{length} + 1).failing(LIBUSB_ERROR_TIMEOUT).within(100)};
}

} // namespace

const Bytes kFirmware{2, 0x34, 0x12, 0xAA, 0xBB, 1, 0x00, 0x80, 0xCC, 0};

Rows within(unsigned milliseconds, Rows rows) {
    for (Row& row : rows) {
        if (!row.timeout && (row.call == Call::bulkIn || row.call == Call::bulkOut))
            row.timeout = milliseconds;
    }
    return rows;
}

Row i2cTimeout(unsigned value) {
    return frame({.code = kTimeout, .subCode = 1, .a = value});
}

Row parallelTimeout(unsigned value) {
    return frame({.code = kTimeout, .a = value});
}

Row i2cSpeed(unsigned speed) {
    return frame({.code = 5, .subCode = speed});
}

Row portDirection(unsigned port, std::uint8_t mask, std::uint8_t value) {
    return frame({.code = 2, .payload = pairs(port, mask, value)});
}

Row portState(unsigned port, std::uint8_t mask, std::uint8_t value) {
    return frame({.code = 1, .payload = joined({pairs(port, mask, value), Bytes(6)})});
}

Row lineDirection(unsigned line, bool output) {
    return lineRow(portDirection, line, output);
}

Row lineState(unsigned line, bool high) {
    return lineRow(portState, line, high);
}

Rows engineTable(std::span<const std::uint8_t> table) {
    return framedExchange({.code = 8, .flag = true, .payload = Bytes(table.begin(), table.end())},
                          {});
}

Rows eeprom(std::uint8_t address, const Bytes& given) {
    return together(
        {framedExchange({.code = kI2C, .flag = true, .b = 1, .payload = {0xA2, 0, address}}, {}),
         framedExchange({.code = kI2C, .flag = true, .b = 1, .payload = {0xA3}}, given)});
}

Rows command(CAMERA_TYPE type, std::uint8_t number, const Bytes& argument, const Bytes& reply) {
    return commandWith(type, number, argument, reply, {});
}

Rows temperatureCommand(CAMERA_TYPE type, const Bytes& argument, const Bytes& reply) {
    return commandWith(type, 55, argument, reply, {pause(100000)});
}

Rows shortWord(unsigned value) {
    return parallelIn({low(value), low(value >> 8)});
}

Rows text(const std::string& characters) {
    Rows rows;
    for (const char character : characters + '\0')
        rows = together({rows, parallelIn({low(static_cast<unsigned char>(character)), 0xEE})});
    return rows;
}

Rows usbOpen(CAMERA_TYPE type) {
    Rows rows{device(Call::openDevice), device(Call::kernelDriverActive),
              device(Call::claimInterface)};
    if (type != GLINT_CAMERA)
        rows.push_back(device(Call::setAltSetting));
    return rows;
}

Rows controllerStart(CAMERA_TYPE type) {
    Rows rows{controlOut(0xA0, 0xE600, 0, {1}), controlOut(0xA0, 0x1234, 0, {0xAA, 0xBB}),
              controlOut(0xA0, 0x8000, 0, {0xCC}), controlOut(0xA0, 0xE600, 0, {0})};
    if (type != LUMEN_CAMERA)
        rows = together({rows,
                         {portDirection(0, 0x00, 0x9F), portState(0, 0x00, 0x80), i2cTimeout(50),
                          parallelTimeout(50), i2cSpeed(0)}});
    return together(
        {rows, {pause(200000)}, type == HERON_CAMERA ? emptyRead(200000) : Rows{}, emptyRead(1)});
}

Rows identify(unsigned productId, const Bytes& colourMarker) {
    return together({{i2cTimeout(5000)},
                     eeprom(3, {low(productId), low(productId >> 8)}),
                     eeprom(0xE8, colourMarker)});
}

} // namespace tavo::test
