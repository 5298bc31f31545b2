// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The USB microcontroller of the cameras. It comes up bare; once its memory has been written and
// its CPU let go it serves framed requests: ports, I2C and the parallel link.
#pragma once

#include "../usb/device.h"
#include "electronics.h"
#include "framed_request.h"
#include "i2c.h"
#include "journal.h"
#include "parallel_link.h"
#include "ports.h"
#include "request_form.h"

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tavo::virtualcamera {

class Controller {
public:
    // Electronics, bus and link outlive the controller. With `firmwareRequired` the processor runs
    // only when memory was written since power-up.
    Controller(bool firmwareRequired, Electronics& electronics, I2cBus& i2c, ParallelLink& link,
               Journal journal);

    // The vendor request that reaches the memory works at any time, firmware or not.
    virtualusb::Outcome writeMemory(std::uint16_t address, std::span<const std::uint8_t> data);
    virtualusb::Reply readMemory(std::uint16_t address, std::uint16_t length) const;

    bool running() const { return cpu == Cpu::running; }
    void powerUp();

    // REQUIRES for both: the CPU is running.
    virtualusb::Outcome request(std::span<const std::uint8_t> bytes);
    virtualusb::Reply readReply(std::uint32_t limit);

private:
    enum class Cpu { bare, held, running };

    // What a request comes to: refused at once (the host's write stalls), or accepted with an
    // answer, which may itself be a refusal (the host's read of the reply stalls).
    enum class Verdict { accepted, malformed, refused };
    using Bytes = virtualusb::Bytes;
    // Waits in the reply pipe for the host, whatever the host asks for meanwhile.
    struct PendingReply {
        bool refused;
        Bytes bytes; // what is left of them
    };
    struct Handler {
        std::uint8_t code;
        const char* name;
        RequestForm form;
        Verdict (Controller::*serve)(const FramedRequest&, Bytes& answer);
    };
    static const Handler kHandlers[];

    void controlCpu(std::uint8_t value);
    void restart();
    bool followTransactions(std::uint8_t number);
    bool roomForReply(const FramedRequest& request) const;
    Verdict serve(const Handler& handler, const FramedRequest& request, Bytes& answer);
    Verdict malformed(const FramedRequest& request, const char* name, const std::string& problem);
    void portsChanged();
    virtualusb::Outcome answer(const FramedRequest& request, Verdict verdict, const Bytes& data);

    Verdict setPortStates(const FramedRequest& request, Bytes& answer);
    Verdict setPortDirections(const FramedRequest& request, Bytes& answer);
    Verdict getPortLevels(const FramedRequest& request, Bytes& answer);
    Verdict transferI2c(const FramedRequest& request, Bytes& answer);
    Verdict setI2cSpeed(const FramedRequest& request, Bytes& answer);
    Verdict transferSerial(const FramedRequest& request, Bytes& answer);
    Verdict loadLinkTable(const FramedRequest& request, Bytes& answer);
    Verdict readLink(const FramedRequest& request, Bytes& answer);
    Verdict writeLink(const FramedRequest& request, Bytes& answer);
    Verdict setTimeout(const FramedRequest& request, Bytes& answer);

    bool firmwareRequired;
    Electronics& electronics;
    I2cBus& i2c;
    ParallelLink& link;
    Journal journal;
    Ports ports;
    Cpu cpu = Cpu::bare;
    std::vector<std::uint8_t> memory;
    bool firmwareWritten = false;
    std::optional<std::uint8_t> lastTransaction;
    unsigned repeats = 0;         // of that number, in a row
    std::uint16_t i2cTimeout = 0; // nothing is waited for until the host allows it
    std::deque<PendingReply> pendingReplies;
};

} // namespace tavo::virtualcamera
