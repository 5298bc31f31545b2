// SPDX-License-Identifier: LGPL-2.1-or-later
#include "exposure/patient_camera.h"

namespace tavo::test::exposure {
namespace {

constexpr unsigned kRequestEndpoint = 0x04, kReplyEndpoint = 0x86;
constexpr std::size_t kHeader = 16, kCommandNumber = 3;
constexpr std::uint8_t kApplicationPing = 80;

} // namespace

// Packets are echoed, as a LUMEN_CAMERA does; its pings find their answer behind the argument.
int PatientCamera::bulkOut(unsigned endpoint, std::span<const std::uint8_t> data) {
    if (endpoint != kRequestEndpoint || data.size() < kHeader)
        return 0;
    reply.assign(data.begin() + kHeader, data.end());
    if (reply.size() == 8 && reply[0] == 'C') {
        reply[6] = reply[4];
        reply[7] = static_cast<std::uint8_t>(reply[5] +
                                             (reply[kCommandNumber] == kApplicationPing ? 1 : 0));
    }
    return 0;
}

Answer PatientCamera::bulkIn(unsigned endpoint, std::size_t wanted) {
    Bytes bytes(wanted);
    if (endpoint == kReplyEndpoint) {
        for (std::size_t i = 0; i < reply.size() && i + 1 < wanted; ++i)
            bytes[i + 1] = reply[i];
    }
    return {0, bytes};
}

int PatientCamera::controlOut(const Row&) {
    return 0;
}

Answer PatientCamera::controlIn(const Row& request) {
    return {static_cast<int>(request.length), Bytes(request.length)};
}

} // namespace tavo::test::exposure
