// SPDX-License-Identifier: LGPL-2.1-or-later
#include "request_form.h"

namespace tavo::virtualcamera {

namespace {

void check(std::string& problem, const char* what, std::uint64_t value, const NumberRange& range) {
    if (!problem.empty() || range.holds(value))
        return;
    problem = std::string{what} + " is " + std::to_string(value) + ", accepted is " +
              std::to_string(range.low);
    if (range.high != range.low)
        problem += " to " + std::to_string(range.high);
}

} // namespace

std::string violation(const RequestForm& form, const FramedRequest& request) {
    std::string problem;
    if (request.replyPhase != form.replyPhase)
        problem = form.replyPhase ? "direction flag is 0x00, accepted is 0xff"
                                  : "direction flag is 0xff, accepted is 0x00";
    check(problem, "sub-code", request.subCode, form.subCode);
    check(problem, "parameter A", request.a, form.a);
    check(problem, "parameter B", request.b, form.b);
    check(problem, "payload length", request.payload.size(), form.payload);
    check(problem, "reply length", request.replyLength, form.reply);
    return problem;
}

} // namespace tavo::virtualcamera
