// SPDX-License-Identifier: LGPL-2.1-or-later
#include "intel_hex.h"
#include "source_file.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

namespace firmware = tavo::firmware;

constexpr int kMalformed = 1;
constexpr int kUsage = 2;

constexpr std::string_view kHelp =
    "Usage: tavo-firmware FILE -o OUTPUT\n"
    "       tavo-firmware --empty -o OUTPUT\n"
    "\n"
    "Turns a firmware image into a C++ source file that defines tavo::kBuiltInFirmware.\n"
    "\n"
    "FILE is Intel HEX, or raw records: a length byte from 1 to 255, the address (low byte\n"
    "first) and that many data bytes, ended by a length byte of 0. The format is told by the\n"
    "content. --empty writes an image without records.\n"
    "\n"
    "Exit status: 0 written, 1 malformed or unreadable FILE or unwritable OUTPUT, 2 usage.\n";

struct Arguments {
    std::string input;
    std::string output;
    bool empty = false;
};

int usageError(const std::string& reason) {
    std::cerr << "tavo-firmware: " << reason << "\n" << kHelp;
    return kUsage;
}

// Returns what is wrong with the arguments, or an empty text.
std::string parse(std::span<const std::string> words, Arguments& arguments) {
    for (std::size_t index = 0; index < words.size(); ++index) {
        const std::string& word = words[index];
        if (word == "--empty") {
            arguments.empty = true;
        } else if (word == "-o") {
            if (++index == words.size()) {
                return "-o needs the name of a file";
            }
            arguments.output = words[index];
        } else if (word.starts_with('-')) {
            return "unknown option " + word;
        } else if (!arguments.input.empty()) {
            return "one FILE at a time, not " + arguments.input + " and " + word;
        } else {
            arguments.input = word;
        }
    }
    if (arguments.output.empty()) {
        return "-o OUTPUT is missing";
    }
    if (arguments.empty == !arguments.input.empty()) {
        return "either FILE or --empty is needed";
    }
    return {};
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

std::optional<std::vector<std::uint8_t>> readFile(const std::string& path) {
    const auto fail = [&path](int reason) {
        std::cerr << path << ": cannot be read: " << std::generic_category().message(reason)
                  << "\n";
        return std::nullopt;
    };
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        return fail(errno);
    }
    std::vector<std::uint8_t> bytes;
    std::array<std::uint8_t, 4096> piece{};
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), file.get())) {
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + count);
    }
    if (std::ferror(file.get()) != 0) {
        return fail(errno);
    }
    return bytes;
}

int convert(const Arguments& arguments) {
    firmware::Image image;
    if (!arguments.empty) {
        const auto bytes = readFile(arguments.input);
        if (!bytes) {
            return kMalformed;
        }
        image = firmware::readImage(*bytes);
    }
    try {
        firmware::writeWhole(arguments.output, firmware::sourceFile(image));
    } catch (const std::system_error& error) {
        std::cerr << arguments.output << ": cannot be written: " << error.code().message() << "\n";
        return kMalformed;
    }
    return 0;
}

} // namespace

int main(int count, char** values) {
    const std::vector<std::string> words(values + (count > 0 ? 1 : 0), values + count);
    if (words.size() == 1 && words[0] == "--help") {
        std::cout << kHelp;
        return 0;
    }
    Arguments arguments;
    if (const std::string reason = parse(words, arguments); !reason.empty()) {
        return usageError(reason);
    }
    try {
        return convert(arguments);
    } catch (const firmware::MalformedImage& error) {
        std::cerr << error.describe(arguments.input) << "\n";
        return kMalformed;
    }
}
