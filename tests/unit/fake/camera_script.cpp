// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fake/camera_script.h"

#include <algorithm>

namespace tavo::test {
namespace {

constexpr unsigned kRequestEndpoint = 0x04;
constexpr unsigned kReplyEndpoint = 0x86;
constexpr unsigned kParallelOut = 0x02;
constexpr unsigned kParallelIn = 0x88;
constexpr std::size_t kHeader = 16;

std::uint8_t plusOne(std::uint8_t byte) {
    return static_cast<std::uint8_t>(byte + 1);
}

unsigned at(const Bytes& bytes, std::size_t index) {
    return bytes[index];
}

std::size_t word(const Bytes& bytes, std::size_t index) {
    return at(bytes, index) | at(bytes, index + 1) << 8 | at(bytes, index + 2) << 16 |
           at(bytes, index + 3) << 24;
}

Bytes tail(const Bytes& bytes, std::size_t from) {
    return from < bytes.size()
               ? Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.end())
               : Bytes{};
}

Bytes taken(std::deque<std::uint8_t>& stream, std::size_t most) {
    const auto count = static_cast<std::ptrdiff_t>(std::min(most, stream.size()));
    Bytes bytes(stream.begin(), stream.begin() + count);
    stream.erase(stream.begin(), stream.begin() + count);
    return bytes;
}

} // namespace

CameraScript::CameraScript(CAMERA_TYPE played) : type(played) {
    if (type == BASIN_CAMERA)
        on(17, [](const Bytes& argument) { return Bytes{argument.at(0), 0}; });
    if (type == RIDGE_CAMERA)
        on(80, [](const Bytes& argument) { return Bytes{plusOne(argument.at(0)), 0}; });
    if (type == LUMEN_CAMERA) {
        on(253, [](const Bytes& argument) { return Bytes{argument.at(0), argument.at(1)}; });
        on(80, [](const Bytes& argument) {
            return Bytes{argument.at(0), plusOne(argument.at(1))};
        });
    }
    reply(44, {'I', 0});
}

void CameraScript::on(unsigned command, Handler handler) {
    handlers[command] = std::move(handler);
}

void CameraScript::reply(unsigned command, Bytes bytes) {
    on(command, [bytes = std::move(bytes)](const Bytes&) { return bytes; });
}

void CameraScript::replies(unsigned command, std::vector<Bytes> queue) {
    on(command, [queue = std::move(queue)](const Bytes&) mutable {
        Bytes first = queue.empty() ? Bytes{} : queue.front();
        if (queue.size() > 1)
            queue.erase(queue.begin());
        return first;
    });
}

void CameraScript::silence(unsigned command) {
    handlers.erase(command);
}

void CameraScript::feed(const Bytes& bytes) {
    parallel.insert(parallel.end(), bytes.begin(), bytes.end());
}

void CameraScript::feed(unsigned endpoint, const Bytes& bytes) {
    streams[endpoint].insert(streams[endpoint].end(), bytes.begin(), bytes.end());
}

std::size_t CameraScript::countOf(unsigned command) const {
    return static_cast<std::size_t>(std::count_if(
        commands.begin(), commands.end(), [&](const auto& each) { return each.first == command; }));
}

// Unread bytes of the last reply are gone once a command is sent.
Bytes CameraScript::handle(unsigned command, const Bytes& argument) {
    commands.emplace_back(command, argument);
    parallel.clear();
    const auto found = handlers.find(command);
    return found == handlers.end() ? Bytes{} : found->second(argument);
}

int CameraScript::bulkOut(unsigned endpoint, std::span<const std::uint8_t> data) {
    const Bytes bytes(data.begin(), data.end());
    if (endpoint == kParallelOut)
        parallelWritten = bytes;
    else if (endpoint == kRequestEndpoint && bytes.size() >= kHeader)
        framed(bytes);
    else
        return LIBUSB_ERROR_NOT_FOUND;
    return 0;
}

// Nothing waiting is what a silent camera is: the read times out.
Answer CameraScript::bulkIn(unsigned endpoint, std::size_t wanted) {
    auto& stream = streams[endpoint];
    if (stream.empty())
        return {LIBUSB_ERROR_TIMEOUT, {}};
    return {0, taken(stream, wanted)};
}

void CameraScript::framed(const Bytes& request) {
    requests.push_back(request);
    const unsigned code = at(request, 0);
    const std::size_t wanted = word(request, 8);
    if (code == 9)
        parallelIn(at(request, 4) << 16 | at(request, 5) << 24 | at(request, 6) |
                   at(request, 7) << 8);
    Bytes answer = answerFrame(code, tail(request, kHeader), wanted);
    if (wanted == 0 && at(request, 2) == 0)
        return;
    answer.resize(wanted);
    feed(kReplyEndpoint, {0x5A});
    feed(kReplyEndpoint, answer);
    feed(kReplyEndpoint, {0, 0, 0});
}

Bytes CameraScript::answerFrame(unsigned code, const Bytes& payload, std::size_t wanted) {
    switch (code) {
    case 3: return Bytes(ports.begin(), ports.end());
    case 4: return i2c(payload, wanted);
    case 6: return type == LUMEN_CAMERA ? lumenExchange(payload, wanted) : Bytes{};
    case 10:
        if (type == RIDGE_CAMERA && parallelWritten.size() >= 8)
            feed(handle(parallelWritten[6], tail(parallelWritten, 8)));
        return {};
    default: return {};
    }
}

Bytes CameraScript::i2c(const Bytes& payload, std::size_t wanted) {
    constexpr std::uint8_t kEepromWrite = 0xA2, kEepromRead = 0xA3, kCommandWrite = 0x80;
    if (payload.empty())
        return {};
    if (payload[0] == kEepromWrite && payload.size() >= 3)
        eepromPointer = payload[2];
    if (payload[0] == kCommandWrite && payload.size() >= 5)
        feed(handle(payload[4], tail(payload, 5)));
    if (payload[0] != kEepromRead)
        return {};
    Bytes bytes;
    for (std::size_t i = 0; i < wanted; ++i)
        bytes.push_back(eeprom[(eepromPointer + i) % eeprom.size()]);
    return bytes;
}

// A command echoes its packet, "CMD", number, argument, reply; anything else reads the stream. The
// packet does not tell where its argument ends, so handlers see argument and zeros, and an answer
// takes the last bytes. One that does not fit is for getData.
Bytes CameraScript::lumenExchange(const Bytes& payload, std::size_t wanted) {
    constexpr std::size_t kPrefix = 4;
    if (payload.size() < kPrefix || payload[0] != 'C' || payload[1] != 'M' || payload[2] != 'D')
        return taken(parallel, wanted);
    const Bytes room = tail(payload, kPrefix);
    const Bytes answer = handle(payload[3], room);
    Bytes echoed = payload;
    if (answer.size() > room.size())
        feed(answer);
    else
        std::copy(answer.begin(), answer.end(),
                  echoed.end() - static_cast<std::ptrdiff_t>(answer.size()));
    return echoed;
}

// The link delivers one byte more than announced. An empty link delivers nothing.
void CameraScript::parallelIn(std::size_t length) {
    if (parallel.empty())
        return;
    Bytes bytes = taken(parallel, length);
    bytes.resize(length + 1);
    streams[kParallelIn].assign(bytes.begin(), bytes.end());
}

int CameraScript::controlOut(const Row& request) {
    constexpr std::uint8_t kRegister = 0x7F;
    if (request.request == kRegister && request.data.size() == 4)
        registers[request.value] = static_cast<std::uint32_t>(word(request.data, 0));
    return 0;
}

Answer CameraScript::controlIn(const Row& request) {
    const std::uint32_t value = registers[request.value];
    return {4,
            {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
             static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)}};
}

int LosingScript::bulkOut(unsigned endpoint, std::span<const std::uint8_t> data) {
    if (endpoint == kRequestEndpoint) {
        while (CameraScript::bulkIn(kReplyEndpoint, 1).result == 0) {
        }
    }
    return CameraScript::bulkOut(endpoint, data);
}

} // namespace tavo::test
