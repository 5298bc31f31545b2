// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A camera played by table: a test states the EEPROM, what each command answers, the registers and
// the bytes on the parallel link, and the script keeps up the framing of its family.
//
//     CameraScript script = healthyCamera(RIDGE_CAMERA, {.countX = 3326});
//     script.reply(52, {0x10, 0, 0x32, 0, 0x64, 0});
//     usb().respondWith(&script);
#pragma once

#include "fake/fake_usb.h"
#include "tavoccdusb.h"

#include <array>
#include <functional>

namespace tavo::test {

// What a healthy camera says of itself; the script lays it out as its family does.
struct Description {
    unsigned versionMajor = 4, versionMinor = 2;
    std::string model = "Model";
    std::string maker = "Maker";
    unsigned flags = 0x0100; // of the family; 0x0100: no guide port
    unsigned countX = 1392, countY = 1040;
    unsigned sizeX = 650, sizeY = 650; // hundredths of a micrometre
    unsigned maxBinX = 4, maxBinY = 4;
    unsigned wellCapacity = 40000;
    unsigned sensorCount = 1;
    unsigned coolerFlags = 0x10;
    unsigned minPower = 5, maxPower = 50;
    std::optional<unsigned> productId{}; // else one of the family
    std::uint32_t serial = 0x04030201;   // LUMEN_CAMERA: the low 16 bits
    unsigned gpioLines = 6;
    unsigned clearTime = 300;        // LUMEN_CAMERA, milliseconds
    int precharge = 5;               // HERON_CAMERA
    std::optional<unsigned> bayer{}; // byte 3 of the colour marker
};

class CameraScript : public Responder {
public:
    // `argument` is what follows the command number (BASIN and RIDGE: with the pad byte, LUMEN:
    // with the zeros that make room for the reply). The result is the reply as it travels: bytes
    // that the parallel link gives from then on, however they are read; for a LUMEN_CAMERA all
    // bytes of the reply.
    using Handler = std::function<Bytes(const Bytes& argument)>;

    explicit CameraScript(CAMERA_TYPE type); // answers ping and appInit

    void on(unsigned command, Handler handler);
    void reply(unsigned command, Bytes bytes);                // every time
    void replies(unsigned command, std::vector<Bytes> queue); // in turn, the last one again
    void silence(unsigned command);                           // no reply at all
    // More bytes for the parallel link, behind those that wait there.
    void feed(const Bytes& bytes);
    // Bytes of a plain bulk endpoint, such as the image of a GLINT_CAMERA on 0x81.
    void feed(unsigned endpoint, const Bytes& bytes);

    std::array<std::uint8_t, 256> eeprom{};
    std::array<std::uint8_t, 5> ports{};              // what a read of the ports answers
    std::map<std::uint16_t, std::uint32_t> registers; // by offset, read and written
    std::vector<std::pair<unsigned, Bytes>> commands; // received: number and argument
    std::vector<Bytes> requests;                      // framed requests, header and payload
    std::size_t countOf(unsigned command) const;

    int bulkOut(unsigned endpoint, std::span<const std::uint8_t> data) override;
    Answer bulkIn(unsigned endpoint, std::size_t wanted) override;
    int controlOut(const Row& request) override;
    Answer controlIn(const Row& request) override;

private:
    void framed(const Bytes& request);
    Bytes answerFrame(unsigned code, const Bytes& payload, std::size_t wanted);
    Bytes i2c(const Bytes& payload, std::size_t wanted);
    Bytes lumenExchange(const Bytes& payload, std::size_t wanted);
    Bytes handle(unsigned command, const Bytes& argument);
    void parallelIn(std::size_t length);

    CAMERA_TYPE type;
    std::map<unsigned, Handler> handlers;
    std::map<unsigned, std::deque<std::uint8_t>> streams; // by endpoint
    std::deque<std::uint8_t> parallel;
    Bytes parallelWritten;
    std::size_t eepromPointer = 0;
};

// A camera whose reply is lost once the next request is made, as it is when the host did not
// fetch it.
class LosingScript : public CameraScript {
public:
    explicit LosingScript(CameraScript script) : CameraScript(std::move(script)) {}
    int bulkOut(unsigned endpoint, std::span<const std::uint8_t> data) override;
};

// A camera whose open succeeds.
CameraScript healthyCamera(CAMERA_TYPE type, const Description& description = {});

} // namespace tavo::test
