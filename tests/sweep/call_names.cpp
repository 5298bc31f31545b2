// SPDX-License-Identifier: LGPL-2.1-or-later
#include "call_names.h"

#include "link/controller_requests.h"

namespace tavo::sweep {
namespace {

using test::Call;
using test::Row;

std::string requestName(unsigned code) {
    switch (code) {
    case request::kPortState: return "port state";
    case request::kPortDirection: return "port direction";
    case request::kReadPorts: return "read ports";
    case request::kI2C: return "I2C";
    case request::kI2CSpeed: return "I2C speed";
    case request::kSerial: return "serial";
    case request::kParallelInit: return "parallel init";
    case request::kParallelIn: return "parallel in";
    case request::kParallelOut: return "parallel out";
    case request::kTimeout: return "timeout";
    default: return "request " + std::to_string(code);
    }
}

std::string bulkName(const Row& row) {
    switch (row.endpoint) {
    case 0x02: return "parallel write";
    case 0x04: return requestName(row.data.empty() ? 0 : row.data[0]);
    case 0x81: return "frame";
    case 0x86: return "reply";
    case 0x88: return "parallel data";
    default: return describe(row);
    }
}

std::string controlName(const Row& row) {
    constexpr std::uint8_t kFirmware = 0xA0;
    if (row.request == kFirmware)
        return "firmware";
    return row.call == Call::controlOut ? "write register" : "read register";
}

bool canFail(Call call) {
    return call != Call::refDevice && call != Call::unrefDevice && call != Call::closeDevice &&
           call != Call::pause;
}

} // namespace

std::vector<std::string> callNames(const test::Rows& rows) {
    std::vector<std::string> names;
    for (const Row& row : rows) {
        if (!canFail(row.call))
            continue;
        const bool bulk = row.call == Call::bulkIn || row.call == Call::bulkOut;
        const bool control = row.call == Call::controlIn || row.call == Call::controlOut;
        names.push_back(bulk ? bulkName(row) : control ? controlName(row) : describe(row));
    }
    return names;
}

} // namespace tavo::sweep
