// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Damaged files are refused, or read as an image that the raw format can carry; never anything
// else.
#include "intel_hex.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace tavo::firmware {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::string_view kIntelHex = ":020000040000FA\r\n"
                                       ":0300300002337A1E\r\n"
                                       ":01123400AA0F\r\n"
                                       ":00000001FF\r\n";

class Damage {
public:
    // One to three bytes of the file are replaced, inserted or left out, or the file is cut off.
    Bytes apply(Bytes file) {
        for (std::size_t count = below(3) + 1; count > 0 && !file.empty(); --count) {
            const auto place = file.begin() + static_cast<std::ptrdiff_t>(below(file.size()));
            switch (below(4)) {
            case 0: *place = anyByte(); break;
            case 1: file.insert(place, anyByte()); break;
            case 2: file.erase(place); break;
            default: file.erase(place, file.end()); break;
            }
        }
        return file;
    }

private:
    std::size_t below(std::size_t limit) { return random() % limit; }

    // The characters that mean something in Intel HEX more often than chance has it.
    std::uint8_t anyByte() {
        constexpr std::string_view kMeaningful(":0123456789abcdefABCDEF\r\n \0", 27);
        return static_cast<std::uint8_t>(below(2) == 0 ? kMeaningful[below(kMeaningful.size())]
                                                       : static_cast<char>(below(256)));
    }

    std::mt19937 random{20};
};

struct Outcomes {
    unsigned accepted = 0;
    unsigned refused = 0;
};

Outcomes damageAndRead(const Bytes& file) {
    Damage damage;
    Outcomes outcomes;
    for (int round = 0; round < 20000; ++round) {
        const Bytes damaged = damage.apply(file);
        try {
            const Image image = readImage(damaged);
            EXPECT_EQ(readRecords(writeRecords(image)), image);
            ++outcomes.accepted;
        } catch (const MalformedImage& error) {
            EXPECT_FALSE(std::string(error.what()).empty());
            ++outcomes.refused;
        }
    }
    return outcomes;
}

TEST(Robustness, OfIntelHex) {
    const Outcomes outcomes = damageAndRead({kIntelHex.begin(), kIntelHex.end()});
    EXPECT_GT(outcomes.accepted, 0U);
    // Damage that escapes the checksums is left to line ends, letter case and the end record.
    EXPECT_GT(outcomes.refused, 15 * outcomes.accepted);
}

TEST(Robustness, OfRawRecords) {
    const Outcomes outcomes = damageAndRead(
        writeRecords({{0x0030, {2, 0x33, 0x7A}}, {0x1234, {0xAA}}, {0x2000, Bytes(200, 0x55)}}));
    EXPECT_GT(outcomes.accepted, 0U);
    EXPECT_GT(outcomes.refused, 0U);
}

} // namespace
} // namespace tavo::firmware
