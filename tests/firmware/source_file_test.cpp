// SPDX-License-Identifier: LGPL-2.1-or-later
#include "source_file.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace tavo::firmware {
namespace {

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class SourceFile : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = testing::TempDir() + "tavo-source-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        directory = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(directory); }

    std::ptrdiff_t fileCount() const {
        return std::distance(std::filesystem::directory_iterator(directory), {});
    }

    std::filesystem::path directory;
};

TEST_F(SourceFile, HoldsTheRecords) {
    const std::string text = sourceFile({{0x1234, {0xAA, 0xBB}}});
    EXPECT_NE(text.find("namespace tavo {\nextern const unsigned char kBuiltInFirmware[];\n"
                        "const unsigned char kBuiltInFirmware[] = {\n"
                        "    0x02, 0x34, 0x12, 0xAA, 0xBB, 0x00,\n};\n"),
              std::string::npos)
        << text;
}

TEST_F(SourceFile, OfTheEmptyImageHoldsOneZero) {
    EXPECT_NE(sourceFile({}).find("{\n    0x00,\n};"), std::string::npos);
}

TEST_F(SourceFile, IsWrittenWhole) {
    writeWhole(directory / "out.cpp", "new text");
    EXPECT_EQ(contentOf(directory / "out.cpp"), "new text");
    EXPECT_EQ(fileCount(), 1);
}

TEST_F(SourceFile, LeavesNothingWhenItCannotBeWritten) {
    // A directory in the place of the result lets the writing succeed and the renaming fail.
    std::filesystem::create_directories(directory / "out.cpp" / "occupied");
    EXPECT_THROW(writeWhole(directory / "out.cpp", "new text"), std::system_error);
    EXPECT_EQ(fileCount(), 1);
    EXPECT_THROW(writeWhole(directory / "absent" / "out.cpp", "new text"), std::system_error);
}

} // namespace
} // namespace tavo::firmware
