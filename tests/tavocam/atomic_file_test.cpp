// SPDX-License-Identifier: LGPL-2.1-or-later
#include "atomic_file.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>

#include "program.h"

using namespace tavocam;

namespace {

std::vector<std::byte> bytes(std::size_t count, char value) {
    return std::vector<std::byte>(count, static_cast<std::byte>(value));
}

std::string contentOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// Files of this process cannot grow past a size while it lives, as on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t size) {
        getrlimit(RLIMIT_FSIZE, &former);
        const rlimit limited{size, former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limited);
        formerHandler = std::signal(SIGXFSZ, SIG_IGN);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &former);
        std::signal(SIGXFSZ, formerHandler);
    }

private:
    rlimit former{};
    void (*formerHandler)(int) = nullptr;
};

using AtomicFile = Program;

} // namespace

TEST_F(AtomicFile, WritesTheContentAndNothingElse) {
    EXPECT_FALSE(writeWhole(path("a"), bytes(100000, 'x'), false));
    EXPECT_EQ(contentOf(path("a")), std::string(100000, 'x'));
    EXPECT_EQ(files(), std::vector<std::string>{"a"});
}

TEST_F(AtomicFile, FollowsTheUmask) {
    const mode_t former = umask(027);
    EXPECT_FALSE(writeWhole(path("a"), bytes(1, 'x'), false));
    umask(former);
    struct stat status {};
    ASSERT_EQ(stat(path("a").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(AtomicFile, KeepsAnExistingFile) {
    ASSERT_FALSE(writeWhole(path("a"), bytes(3, 'x'), false));
    EXPECT_EQ(writeWhole(path("a"), bytes(3, 'y'), false), std::errc::file_exists);
    EXPECT_EQ(contentOf(path("a")), "xxx");
    EXPECT_EQ(files(), std::vector<std::string>{"a"});
}

TEST_F(AtomicFile, KeepsADanglingLink) {
    std::filesystem::create_symlink("nowhere", path("a"));
    EXPECT_EQ(writeWhole(path("a"), bytes(3, 'y'), false), std::errc::file_exists);
    EXPECT_TRUE(std::filesystem::is_symlink(path("a")));
}

TEST_F(AtomicFile, ReplacesWhenAsked) {
    ASSERT_FALSE(writeWhole(path("a"), bytes(3, 'x'), false));
    EXPECT_FALSE(writeWhole(path("a"), bytes(3, 'y'), true));
    EXPECT_EQ(contentOf(path("a")), "yyy");
    EXPECT_EQ(files(), std::vector<std::string>{"a"});
}

TEST_F(AtomicFile, ReplacesNothingButFiles) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(writeWhole(path("pipe"), bytes(3, 'y'), true), std::errc::file_exists);
    EXPECT_TRUE(std::filesystem::is_fifo(path("pipe")));
    EXPECT_EQ(files(), std::vector<std::string>{"pipe"});
}

TEST_F(AtomicFile, LeavesNothingWhenTheDiskIsFull) {
    const FileSizeLimit limit(1000);
    EXPECT_EQ(writeWhole(path("a"), bytes(5000, 'x'), false), std::errc::file_too_large);
    EXPECT_TRUE(files().empty());
}

TEST_F(AtomicFile, KeepsTheOldFileWhenTheDiskIsFull) {
    ASSERT_FALSE(writeWhole(path("a"), bytes(3, 'x'), false));
    const FileSizeLimit limit(1000);
    EXPECT_TRUE(writeWhole(path("a"), bytes(5000, 'y'), true));
    EXPECT_EQ(contentOf(path("a")), "xxx");
    EXPECT_EQ(files(), std::vector<std::string>{"a"});
}

TEST_F(AtomicFile, TellsThatADirectoryIsMissing) {
    EXPECT_EQ(writeWhole(path("none/a"), bytes(3, 'x'), false),
              std::errc::no_such_file_or_directory);
    EXPECT_EQ(probeDirectory(path("none/a")), std::errc::no_such_file_or_directory);
}

TEST_F(AtomicFile, ProbingLeavesNothing) {
    EXPECT_FALSE(probeDirectory(path("a")));
    EXPECT_TRUE(files().empty());
}

TEST(DirectoryOf, IsTheCurrentOneForABareName) {
    EXPECT_EQ(directoryOf("m42.fits"), ".");
    EXPECT_EQ(directoryOf("night/m42.fits"), "night");
    EXPECT_EQ(directoryOf("/m42.fits"), "/");
}

TEST_F(AtomicFile, WritesThroughALink) {
    std::filesystem::create_directory(path("d"));
    std::filesystem::create_directory(path("e"));
    std::filesystem::create_symlink("../e/a", path("d/second"));
    std::filesystem::create_symlink(path("d/second"), path("first"));
    for (const char value : {'x', 'y'}) { // a dangling one at first
        EXPECT_FALSE(writeWhole(path("first"), bytes(3, value), true));
        EXPECT_EQ(contentOf(path("e/a")), std::string(3, value));
    }
    EXPECT_TRUE(std::filesystem::is_symlink(path("first")));
    EXPECT_TRUE(std::filesystem::is_symlink(path("d/second")));
}

TEST_F(AtomicFile, LinksInACircleAreNotFollowedForEver) {
    std::filesystem::create_symlink("b", path("a"));
    std::filesystem::create_symlink("a", path("b"));
    EXPECT_TRUE(std::filesystem::is_symlink(followLinks(path("a"))));
    EXPECT_EQ(followLinks("plain"), "plain");
}
