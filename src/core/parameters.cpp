// SPDX-License-Identifier: LGPL-2.1-or-later
#include "core/messages.h"
#include "core/trace.h"
#include "tavocameraimpl.h"

namespace message = tavo::message;
namespace trace = tavo::trace;

// The field behind a parameter, or null where this camera has no such parameter.
std::atomic<std::int64_t>* TavoCameraImpl::parameter(PARAM_TYPE param, const char** label) {
    switch (param) {
    case QUICKER_START_EXPOSURE_DELAY:
        *label = "quickerStartExposureDelay";
        return type == HERON_CAMERA ? &quickerStartExposureDelay : nullptr;
    case QUICKER_READ_CCD_DELAY:
        *label = "quickerReadCCDDelay";
        return type == HERON_CAMERA ? &quickerReadCCDDelay : nullptr;
    case MAX_PACKET_SIZE: *label = "maxPacketSize"; return &maxPacketSize;
    }
    return nullptr;
}

bool TavoCameraImpl::setParam(PARAM_TYPE param, long value) {
    trace::enter("TavoCameraImpl::setParam(%d, %ld)", param, value);
    const char* label = nullptr;
    std::atomic<std::int64_t>* field = parameter(param, &label);
    if (!field) {
        trace::leave("TavoCameraImpl::setParam -> 00");
        return refuse(message::kInvalidParameter);
    }
    *field = value;
    trace::inside("%s = %ld", label, value);
    trace::leave("TavoCameraImpl::setParam -> 1");
    return true;
}

long TavoCameraImpl::getParam(PARAM_TYPE param) {
    trace::enter("TavoCameraImpl::getParam(%d)", param);
    const char* label = nullptr;
    const std::atomic<std::int64_t>* field = parameter(param, &label);
    if (!field) {
        trace::leave("TavoCameraImpl::getParam -> 00");
        refuse(message::kInvalidParameter);
        return 0;
    }
    const long value = static_cast<long>(*field);
    trace::inside("%s = %ld", label, value);
    trace::leave("TavoCameraImpl::getParam -> %ld", value);
    return value;
}
