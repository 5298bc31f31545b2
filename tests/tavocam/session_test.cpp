// SPDX-License-Identifier: LGPL-2.1-or-later
#include "program.h"

namespace {

// Two Ridge cameras of one model and a Lumen.
class Choice : public Program {
protected:
    Choice() {
        cameras = {ridgeState(), ridgeState(), lumenState()};
        cameras[0]->serial = 1001;
        cameras[1]->serial = 1002;
        cameras[2]->serial = 1003;
    }

    bool wasChosen(std::size_t index) {
        const auto& calls = cameras[index]->calls;
        return std::find(calls.begin(), calls.end(), "getCapabilities()") != calls.end();
    }
};

} // namespace

TEST_F(Choice, ByIndex) {
    EXPECT_EQ(run({"info", "--camera", "1"}), 0) << err;
    EXPECT_FALSE(wasChosen(0));
    EXPECT_TRUE(wasChosen(1));
}

TEST_F(Choice, ByName) {
    EXPECT_EQ(run({"info", "--camera", "Tavo Lumen A"}), 0) << err;
    EXPECT_TRUE(wasChosen(2));
}

TEST_F(Choice, BySerialNumber) {
    EXPECT_EQ(run({"info", "--camera", "1002"}), 0) << err;
    EXPECT_TRUE(wasChosen(1));
    EXPECT_EQ(cameras[0]->calls.back(), "close()");
    EXPECT_TRUE(cameras[2]->calls.size() == 1); // only its read size was set
}

TEST_F(Choice, BySerialNumberPassesOverCamerasThatDoNotOpen) {
    cameras[0]->failing = {"open"};
    EXPECT_EQ(run({"info", "--camera", "1002"}), 0) << err;
}

TEST_F(Choice, IsNeededAmongSeveral) {
    EXPECT_EQ(run({"info"}), 2);
    EXPECT_NE(err.find("0 (Tavo Ridge C), 1 (Tavo Ridge C), 2 (Tavo Lumen A)"), std::string::npos)
        << err;
}

TEST_F(Choice, MustBeUnambiguous) {
    EXPECT_EQ(run({"info", "--camera", "Tavo Ridge C"}), 2);
    EXPECT_NE(err.find("several cameras are named"), std::string::npos) << err;
}

TEST_F(Choice, MustExist) {
    EXPECT_EQ(run({"info", "--camera", "Tavo Heron"}), 3);
    EXPECT_NE(err.find("no camera is named \"Tavo Heron\""), std::string::npos) << err;
    EXPECT_EQ(run({"info", "--camera", "77"}), 3);
    EXPECT_NE(err.find("index or serial number 77"), std::string::npos) << err;
}

TEST_F(Choice, ListNamesThemAllWithoutOpeningOne) {
    EXPECT_EQ(run({"list"}), 0);
    EXPECT_EQ(out, "0  Tavo Ridge C  (Ridge family)\n1  Tavo Ridge C  (Ridge family)\n"
                   "2  Tavo Lumen A  (Lumen family)\n");
    for (const auto& state : cameras) {
        EXPECT_EQ(state->calls, std::vector<std::string>{"setParam(3, 1048576)"});
        EXPECT_TRUE(state->destroyed);
    }
}

TEST_F(Choice, ByExplicitIndexOpensNoOther) {
    EXPECT_EQ(run({"info", "--camera", "index:1"}), 0) << err;
    EXPECT_TRUE(wasChosen(1));
    EXPECT_EQ(cameras[0]->calls.size(), 1U);
    EXPECT_EQ(cameras[2]->calls.size(), 1U);
    EXPECT_EQ(err, "");
}

TEST_F(Choice, ByExplicitSerialNumber) {
    cameras[2]->serial = 1;
    EXPECT_EQ(run({"info", "--camera", "serial:1"}), 0) << err;
    EXPECT_FALSE(wasChosen(1));
    EXPECT_TRUE(wasChosen(2));
}

TEST_F(Choice, ByABareNumberIsAnIndexAndOpensNoOther) {
    cameras[2]->serial = 1;
    EXPECT_EQ(run({"info", "--camera", "1"}), 0) << err;
    EXPECT_TRUE(wasChosen(1));
    EXPECT_EQ(cameras[0]->calls.size(), 1U);
    EXPECT_EQ(cameras[2]->calls.size(), 1U);
}

TEST_F(Choice, ByWhatIsNoNumberOrNotThere) {
    EXPECT_EQ(run({"info", "--camera", "index:one"}), 2);
    EXPECT_NE(err.find("whole number"), std::string::npos) << err;
    EXPECT_EQ(run({"info", "--camera", "serial:"}), 2);
    EXPECT_EQ(run({"info", "--camera", "index:3"}), 3);
    EXPECT_NE(err.find("the index 3"), std::string::npos) << err;
    EXPECT_EQ(run({"info", "--camera", "serial:1"}), 3);
    EXPECT_NE(err.find("the serial number 1"), std::string::npos) << err;
}

TEST_F(Choice, ASearchTellsTheCamerasItOpens) {
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--camera", "serial:1003"}), 0) << err;
    EXPECT_EQ(err, "tavocam: looking at Tavo Ridge C ...\ntavocam: looking at Tavo Ridge C ...\n"
                   "tavocam: looking at Tavo Lumen A ...\n");
    EXPECT_EQ(run({"expose", "1", "-o", path("b.fits"), "--camera", "serial:1003", "--quiet"}), 0);
    EXPECT_EQ(err, "");
}

TEST_F(Choice, OpeningIsToldOnATerminal) {
    terminal = true;
    EXPECT_EQ(run({"info", "--camera", "index:2"}), 0);
    EXPECT_EQ(err, "tavocam: opening Tavo Lumen A ...\n");
}
