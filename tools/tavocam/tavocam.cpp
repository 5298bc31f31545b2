// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tavocam.h"

#include <exception>
#include <new>
#include <variant>

#include "command_line.h"
#include "failure.h"

namespace tavocam {
namespace {

struct Runner {
    Environment& environment;

    void operator()(const PrintCommand& command) const { environment.out << command.output; }
    template <typename Verb>
    void operator()(const Verb& command) const {
        runVerb(command, environment);
    }
};

} // namespace

int run(const std::vector<std::string>& arguments, Environment& environment) {
    try {
        std::visit(Runner{environment}, parseCommandLine(arguments));
        if (!environment.out.flush())
            throw Failure(kCannotWrite, "standard output cannot be written: make room on its disk "
                                        "or give it another place");
        return kOk;
    } catch (const Failure& failure) {
        environment.err << "tavocam: " << failure.what() << "\n";
        return failure.exitCode;
    } catch (const std::bad_alloc&) {
        environment.err << "tavocam: there is not enough memory: close other programs\n";
    } catch (const std::exception& error) {
        environment.err << "tavocam: " << error.what() << "\n";
    }
    return kUnexpected;
}

} // namespace tavocam
