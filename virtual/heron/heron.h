// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The electronics of the Heron cameras. There is no firmware that takes commands: the host reads
// what the camera is from its memory, programs the front end bit by bit, and works the sensor
// through three registers behind the controller's serial path.
#pragma once

#include "../camera/camera_device.h"
#include "../camera/exposure_sequence.h"
#include "../camera/frame_bytes.h"
#include "../camera/instrument.h"
#include "../camera/model.h"
#include "../controller/clock.h"
#include "../controller/electronics.h"
#include "../controller/fifo.h"
#include "../controller/journal.h"
#include "front_end.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace tavo::virtualcamera {

std::span<const Model> heronModels();
std::unique_ptr<Electronics> makeHeronElectronics(const CameraParts& parts);

class HeronHead final : public Electronics {
public:
    explicit HeronHead(const CameraParts& parts);

    LinkTables linkTables() const override;
    bool linkEnabled(const Ports& ports) const override;
    void receive(std::span<const std::uint8_t> bytes) override;
    void readArmed() override;
    void linkReset() override;
    void writeEeprom(Eeprom::Image& image) const override;
    void linesChanged(const Ports& ports) override;
    void driveLines(Ports& ports) override;
    std::optional<std::vector<std::uint8_t>> serialTransfer(const FramedRequest& request) override;

private:
    struct Register {
        unsigned number;
        const char* name;
        void (HeronHead::*write)(unsigned value);
    };
    static const Register kRegisters[];

    struct Binning {
        unsigned x;
        unsigned y;
    };

    void holdInReset();
    void leaveReset(const Ports& ports);
    const char* deafness() const;

    void writeControl(unsigned value);
    void writeTimer(unsigned value);
    void writeBinning(unsigned value);
    void setRelays(unsigned relays);

    void clearSensor(unsigned value);
    void startExposure(unsigned value);
    void readOut(unsigned value);
    void exposeAndReadOut(unsigned value);
    void send(const Exposure& exposure, double seconds);
    std::size_t bytesPerPixel() const { return 2U * model.samplesPerPixel; }
    void sendFrom(std::unique_ptr<ByteSource> frame);
    RowEncoder rowEncoder(std::uint64_t noiseSeed) const;

    Model model;
    Instrument& instrument;
    const Clock& clock;
    Fifo& fifo;
    Journal journal;
    ExposureSequence sequence;
    FrontEnd frontEnd;

    std::uint8_t directions = 0;
    std::uint8_t pins;
    bool started = false; // has come out of reset with its lines as they should be
    std::uint16_t shifted = 0;

    unsigned control = 0;
    // What is written goes into the second; the first, which counts, takes what was there.
    std::optional<Binning> binning;
    std::optional<Binning> nextBinning;
    Microseconds firstWordAt = 0;
    std::uint64_t frameBytes = 0; // of the frame that comes then
};

// What the memory of a camera holds for its front end.
FrontEnd::Words heronFrontEndWords(const Model& model);

} // namespace tavo::virtualcamera
