// SPDX-License-Identifier: LGPL-2.1-or-later
#include "usb/bus.h"
#include "usb/stale_testbeds.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <unistd.h>

namespace tavo::bustest {
namespace {

namespace fs = std::filesystem;
using virtualusb::ownTestbed;
using virtualusb::removeStaleTestbeds;
using virtualusb::replaceTestbed;

// A program that lives on a testbed: it makes and removes the sockets that events are sent to.
class Listener {
public:
    explicit Listener(fs::path directory_)
        : directory(std::move(directory_)), thread([this] { run(); }) {
        while (rounds < 1)
            std::this_thread::yield();
    }
    ~Listener() {
        isEnding = true;
        thread.join();
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

private:
    void run() {
        std::error_code ignored;
        for (; !isEnding; ++rounds)
            for (int number = 0; number < 20; ++number) {
                const auto file = directory / ("event" + std::to_string(number));
                std::ofstream(file) << "";
                if (rounds % 2 == 0)
                    fs::remove(file, ignored);
            }
    }

    fs::path directory;
    std::atomic<bool> isEnding = false;
    std::atomic<unsigned> rounds = 0;
    std::thread thread;
};

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

TEST_F(StaleTestbedsTest, ThoseThatProgramsLiveOnGoToo) {
    for (int round = 0; round < 20; ++round) {
        const auto dead = make("umockdev.dead");
        close(ownTestbed(dead));
        const Listener listener(dead);
        removeStaleTestbeds(parent);
        EXPECT_TRUE(fs::is_empty(parent));
    }
}

TEST_F(StaleTestbedsTest, AFileStandsInThePlaceOfATestbedThatEnds) {
    const auto ending = make("umockdev.ending");
    const Listener listener(ending);
    EXPECT_TRUE(replaceTestbed(ending));
    EXPECT_TRUE(fs::is_regular_file(ending));
    EXPECT_EQ(std::distance(fs::directory_iterator(parent), {}), 1);
    EXPECT_FALSE(replaceTestbed(parent / "umockdev.none"));
}

TEST(Testbed, EndsWhileProgramsLiveOnIt) {
    for (int round = 0; round < 20; ++round) {
        auto bus = std::make_unique<virtualusb::Bus>();
        const fs::path directory = bus->directory();
        const Listener listener(directory);
        bus.reset();
        EXPECT_FALSE(fs::exists(directory));
        EXPECT_FALSE(fs::exists(directory.native() + ".ended"));
    }
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
