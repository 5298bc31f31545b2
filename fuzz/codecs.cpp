// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The library's codecs: what cameras say of themselves, and the requests that they are sent.
#include "input.h"

#include "accessories/filter_wheel_codec.h"
#include "accessories/gain_codec.h"
#include "bringup/colour_marker.h"
#include "bringup/flags.h"
#include "bringup/heron_description.h"
#include "bringup/lumen_description.h"
#include "bringup/property_codec.h"
#include "exposure/exposure_code.h"
#include "exposure/readout_codec.h"
#include "exposure/region.h"
#include "link/command_codec.h"
#include "link/frame.h"
#include "link/port_codec.h"
#include "link/spi_codec.h"
#include "thermal/conversion.h"
#include "thermal/cooler_codec.h"
#include "thermal/sensor_codec.h"

#include <cmath>

using tavo::fuzz::Input;
using tavo::fuzz::require;

namespace {

template <std::size_t length>
std::array<std::uint8_t, length> take(Input& input) {
    std::array<std::uint8_t, length> bytes{};
    const auto given = input.bytes(length);
    std::copy(given.begin(), given.end(), bytes.begin());
    return bytes;
}

bool liesIn(std::string_view part, std::span<const std::uint8_t> whole) {
    const auto* begin = reinterpret_cast<const char*>(whole.data());
    return part.empty() ||
           (part.data() >= begin && part.data() + part.size() <= begin + whole.size());
}

void heronDescription(Input& input) {
    const auto bytes = input.rest();
    const auto read = tavo::parseHeronDescription(bytes);
    require(liesIn(read.model, bytes) && liesIn(read.manufacturer, bytes), "names in the bytes");
    require(read.pixelCountX >= -32768 && read.pixelCountX <= 32767, "16-bit width");
    require(read.pixelCountY >= -32768 && read.pixelCountY <= 32767, "16-bit height");
    require(read.pixelSizeX >= 0 && read.pixelSizeX <= 25.5, "pixel size of one byte");
    require(read.prechargeOffset >= -4096 && read.prechargeOffset <= 4064, "precharge offset");
    require(tavo::heronFlagNames(read.flags).text.back() == '\0', "terminated flag names");
}

void lumenDescription(Input& input) {
    const auto bytes = input.rest();
    const auto read = tavo::parseLumenDescription(bytes);
    require(read.model.back() == '\0' && read.manufacturer.back() == '\0', "terminated names");
    require(read.versionMajor < 256 && read.versionMinor < 256, "version of one byte");
    require(read.pixelCountX < 65536 && read.pixelCountY < 65536, "16-bit counts");
    require(read.pixelSizeX >= 0 && read.pixelSizeX <= 655.35, "pixel size of two bytes");
}

void flagNames(Input& input) {
    const auto word = input.u32();
    const auto text = tavo::flagNames(word, input.u32());
    require(text.text.back() == '\0', "terminated flag names");
}

void properties(Input& input) {
    const auto colour = tavo::decodeColour(take<tavo::kColourMarkerLength>(input));
    require((colour.offsetX & ~1) == 0 && (colour.offsetY & ~1) == 0, "phase of 0 or 1");
    const auto count = take<tavo::kSensorCountLength>(input);
    require(tavo::decodeSensorCount(count) < 256, "sensor count of one byte");
    require(tavo::decodeLumenSensorCount(count) < 65536, "sensor count of two bytes");
    const auto reply = take<tavo::kCoolerReplyLength>(input);
    for (const auto& cooler : {tavo::decodeBasinCooler(reply), tavo::decodeRidgeCooler(reply),
                               tavo::decodeLumenCooler(reply)}) {
        require(cooler.type >= COOLER_NONE && cooler.type <= COOLER_SETPOINT, "kind of cooler");
        require(cooler.minPower >= 0 && cooler.maxPower <= 65535, "power limits");
    }
}

void thermal(Input& input) {
    const auto sensor = take<tavo::kSensorReplyLength>(input);
    for (const auto& reading : {tavo::decodeBasinSensor(sensor), tavo::decodeRidgeSensor(sensor),
                                tavo::decodeLumenSensor(sensor)}) {
        const float celsius = tavo::rawToCelsius(reading.type, reading.raw);
        require(celsius >= -60.0f && celsius <= 21100.0f, "temperature of 16 bits");
        if (tavo::fullScale(reading.type) != 0.0f)
            require(tavo::celsiusToRaw(reading.type, celsius) ==
                        static_cast<std::uint32_t>(reading.raw),
                    "a reading comes back as the set-point that it is");
    }
    const auto cooling = take<tavo::kCoolingReplyLength>(input);
    for (const auto& status : {tavo::decodeBasinCooling(cooling), tavo::decodeRidgeCooling(cooling),
                               tavo::decodeLumenCooling(cooling)}) {
        require(status.state >= COOLING_INACTIVE && status.state <= WARMING_UP, "cooling state");
        const float power = tavo::powerPercent(status.rawPower, input.u8(), input.u8());
        (void)tavo::truncateToInt32(double{power});
    }
    (void)tavo::celsiusToRaw(input.u32(), input.number<float>());
    const float glint = tavo::glintCelsius(input.u32());
    require(glint >= -273.2f && glint <= 136.4f, "temperature of twelve bits");
    require((tavo::powerLevel(input.u32()) & 0xFF00) == 0xFF00, "marked power level");
}

void wheelAndGain(Input& input) {
    const auto wheel = take<tavo::kWheelReplyLength>(input);
    require(tavo::decodeRidgeWheel(wheel).filterCount < 256, "filter count of one byte");
    require(tavo::decodeLumenWheel(wheel).target < 65536, "filter of two bytes");
    const auto block = take<tavo::kGainBlockLength>(input);
    for (const bool preview : {false, true}) {
        const auto setting = tavo::decodeGain(block, preview);
        const auto payload = tavo::encodeGain(block, preview, setting);
        require(std::equal(block.begin(), block.end(), payload.begin() + 2),
                "a setting written as read changes nothing");
        if (tavo::gainBlockAcceptable(block))
            require(setting.gain >= 0 && setting.gain <= tavo::kMaxGain, "acceptable gain");
    }
}

void exposureCodes(Input& input) {
    const auto seconds = input.number<double>();
    const auto heron = tavo::heronExposureCode(seconds);
    require(heron.code >= 1 && heron.code <= 0xFFF, "code of twelve bits");
    const auto ridge = tavo::ridgeExposureCode(seconds);
    require(ridge.code >= 1 && ridge.code <= (ridge.microseconds ? 65535u : 3000u), "code");
    const auto basin = tavo::basinExposureCode(seconds);
    require(basin.code >= 1 && basin.code <= 255, "code of one byte");
    for (const auto& code : {heron, ridge, basin})
        require(code.wait > 0 && code.wait <= 3.0, "a wait of a short exposure");
    const auto glint = tavo::glintTiming(static_cast<float>(seconds));
    require(!glint.matched || (glint.frameRate <= 15.0f && glint.frameRate >= 1.875f), "rate");
}

// The low 16 bits of each field, wherever the family puts them.
void readouts(Input& input) {
    const tavo::Region r{input.u32(), input.u32(), input.u32(),
                         input.u32(), input.u32(), input.u32()};
    const tavo::ReadoutModes modes{input.flag(), input.flag(), input.flag()};
    const tavo::ExposureCode code{.code = input.u32(), .microseconds = input.flag()};
    const auto ridge = tavo::ridgeTimedReadout(r, modes, code);
    const auto lumen = tavo::lumenTimedReadout(r, modes, code);
    const auto basin = tavo::basinTimedReadout(r, modes, code.code);
    const std::uint32_t fields[] = {r.x, r.y, r.width, r.height};
    for (int i = 0; i < 4; ++i) {
        require(tavo::u16le(&ridge[static_cast<std::size_t>(6 + 2 * i)]) == (fields[i] & 0xFFFF),
                "region of a Ridge camera");
        require(tavo::getInt16(lumen.data(), 6 + 2 * i) == (fields[i] & 0xFFFF),
                "region of a Lumen camera");
    }
    require(tavo::u16le(&basin[3]) == ((r.x + 1) & 0xFFFF), "region of a Basin camera");
    require(tavo::u16le(&basin[7]) == ((r.x + r.width + 1) & 0xFFFF), "region of a Basin camera");
    (void)tavo::ridgeReadout(r, modes);
    (void)tavo::lumenReadout(r, modes);
    (void)tavo::basinReadout(r, modes);
    const auto window = tavo::binnedWindow(r, input.u32(), input.u32());
    require(r.xBin == 0 || window.width == r.width / r.xBin, "binned width");
}

void packets(Input& input) {
    const auto command = input.u8();
    const auto argument = input.bytes(input.u8());
    std::vector<std::uint8_t> ridge(tavo::ridgePacketLength(argument.size()));
    tavo::encodeRidgePacket(ridge, command, argument);
    require(ridge.size() % 2 == 0 && ridge[6] == command, "packet of whole words");
    std::vector<std::uint8_t> basin(tavo::basinPacketLength(argument.size()));
    tavo::encodeBasinPacket(basin, command, argument);
    require(basin[3] == command, "command of a Basin packet");
    std::vector<std::uint8_t> lumen(tavo::lumenPacketLength(argument.size(), input.u8()));
    tavo::encodeLumenPacket(lumen, command, argument);
    require(lumen[3] == command, "command of a Lumen packet");
    for (const auto* packet : {&ridge, &basin, &lumen})
        require(std::search(packet->begin(), packet->end(), argument.begin(), argument.end()) !=
                        packet->end() ||
                    argument.empty(),
                "the argument stands in the packet");
    auto reply = input.rest();
    const auto before = reply;
    tavo::compactBasinReply(reply);
    for (std::size_t i = 0; i < reply.size(); ++i)
        require(reply[i] == before[i < reply.size() / 2 ? 2 * i : i], "compacted reply");
}

void framesAndPorts(Input& input) {
    const tavo::Frame frame{.code = input.u32(),
                            .transaction = input.u32(),
                            .replyPhase = input.flag(),
                            .subCode = input.u32(),
                            .paramA = input.u32(),
                            .paramB = input.u32(),
                            .replyLength = input.u32(),
                            .payloadLength = input.u32()};
    const auto header = tavo::encodeFrameHeader(frame);
    require(tavo::u32le(&header[8]) == frame.replyLength, "reply length");
    require(tavo::u32le(&header[12]) == frame.payloadLength, "payload length");
    const auto line = input.u32();
    const auto change = tavo::lineChange(line, input.flag());
    const auto direction = tavo::encodePortDirection(change);
    const auto state = tavo::encodePortState(change);
    require(std::equal(direction.begin(), direction.end(), state.begin()), "port pairs");
    require(tavo::lineState(take<tavo::kPortCount>(input), line) <= 1, "state of a line");
    const auto word = tavo::encodeSpiWord(input.u32(), input.u32());
    require(word.size() == 2, "serial word");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    constexpr void (*kCodecs[])(Input&) = {
        heronDescription, lumenDescription, flagNames, properties, thermal,
        wheelAndGain,     exposureCodes,    readouts,  packets,    framesAndPorts};
    kCodecs[input.below(std::size(kCodecs))](input);
    return 0;
}
