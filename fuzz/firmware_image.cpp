// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The firmware converter: a file is refused with a place and a reason, or becomes records that the
// library walks as they were read.
#include "input.h"

#include "intel_hex.h"
#include "link/firmware_records.h"
#include "source_file.h"

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
        require(error.describe("image").starts_with("image:"), "a place and a reason");
    }
    return 0;
}
