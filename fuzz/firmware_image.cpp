// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The firmware converter: a file is refused with a place and a reason, or becomes records that the
// library walks as they were read.
#include "input.h"

#include "intel_hex.h"
#include "link/firmware_records.h"
#include "source_file.h"

#include <charconv>

using tavo::fuzz::require;

namespace {

void walk(const tavo::firmware::Image& image) {
    const auto bytes = tavo::firmware::writeRecords(image);
    auto record = tavo::readFirmwareRecord(bytes.data());
    for (const auto& expected : image) {
        require(record.address == expected.address, "address of a record");
        require(std::equal(record.data.begin(), record.data.end(), expected.data.begin(),
                           expected.data.end()),
                "data of a record");
        record = tavo::readFirmwareRecord(record.next);
    }
    require(record.data.empty() && record.next == bytes.data() + bytes.size() - 1,
            "the end of the image");
}

// A text begins with ':' but for blanks, and has no byte 0 at its end as every file of records has.
bool isText(std::string_view file) {
    const std::size_t first = file.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && file[first] == ':' && file.back() != '\0';
}

// A line of a text, counted from 1, or a byte of records, counted from 0 to the end of the file.
// Then a reason.
void inspect(std::string_view refusal, std::string_view file) {
    const std::string_view before = isText(file) ? "image:" : "image: byte ";
    require(refusal.starts_with(before), "a place of the file's kind");
    refusal.remove_prefix(before.size());
    std::size_t place = 0;
    const char* const end = refusal.data() + refusal.size();
    const auto number = std::from_chars(refusal.data(), end, place);
    require(number.ec == std::errc(), "a place");
    const auto lines = static_cast<std::size_t>(std::count(file.begin(), file.end(), '\n')) + 1;
    if (isText(file))
        require(place >= 1 && place <= lines, "a line of the file");
    else
        require(place <= file.size(), "a byte of the file, or its end");
    const std::string_view reason(number.ptr, static_cast<std::size_t>(end - number.ptr));
    require(reason.starts_with(": ") && reason.find_first_not_of(": ") != std::string_view::npos,
            "a reason");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> file(data, data + size);
    try {
        const auto image = tavo::firmware::readImage(file);
        require(tavo::firmware::readRecords(tavo::firmware::writeRecords(image)) == image,
                "records that read as they were written");
        require(tavo::firmware::sourceFile(image).find("kBuiltInFirmware[] = {") !=
                    std::string::npos,
                "a source file with the image");
        walk(image);
    } catch (const tavo::firmware::MalformedImage& error) {
        inspect(error.describe("image"), std::string(file.begin(), file.end()));
    }
    return 0;
}
