// SPDX-License-Identifier: LGPL-2.1-or-later
#include "usb/stale_testbeds.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

namespace tavo::bustest {
namespace {

namespace fs = std::filesystem;
using virtualusb::ownTestbed;
using virtualusb::removeStaleTestbeds;

class StaleTestbedsTest : public testing::Test {
protected:
    void SetUp() override {
        std::string name = testing::TempDir() + "stale.XXXXXX";
        ASSERT_TRUE(mkdtemp(name.data()));
        parent = name;
    }
    void TearDown() override { fs::remove_all(parent); }

    fs::path make(const std::string& name) {
        fs::create_directories(parent / name / "dev");
        return parent / name;
    }

    fs::path parent;
};

TEST_F(StaleTestbedsTest, OnlyThoseOfDeadProgramsGo) {
    const auto alive = make("umockdev.alive");
    const auto dead = make("umockdev.dead");
    const auto foreign = make("umockdev.foreign");
    const auto other = make("other.dead");
    const int owner = ownTestbed(alive);
    ASSERT_GE(owner, 0);
    for (const auto& directory : {dead, other}) {
        const int former = ownTestbed(directory);
        ASSERT_GE(former, 0);
        close(former);
    }
    removeStaleTestbeds(parent);
    EXPECT_TRUE(fs::exists(alive));
    EXPECT_FALSE(fs::exists(dead));
    EXPECT_TRUE(fs::exists(foreign)) << "no sign that it is ours";
    EXPECT_TRUE(fs::exists(other));
    close(owner);
    removeStaleTestbeds(parent);
    EXPECT_FALSE(fs::exists(alive));
}

TEST_F(StaleTestbedsTest, LinksAreNotFollowed) {
    const auto kept = make("kept");
    std::ofstream(kept / "file") << "precious";
    const auto dead = make("umockdev.dead");
    fs::create_directory_symlink(kept, dead / "link");
    close(ownTestbed(dead));
    fs::create_directory_symlink(kept, parent / "umockdev.link");
    close(ownTestbed(kept));
    removeStaleTestbeds(parent);
    EXPECT_FALSE(fs::exists(dead));
    EXPECT_TRUE(fs::exists(kept / "file"));
}

} // namespace
} // namespace tavo::bustest
