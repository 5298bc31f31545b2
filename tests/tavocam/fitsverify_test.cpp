// SPDX-License-Identifier: LGPL-2.1-or-later
#include <array>
#include <cstdio>

#include "program.h"

namespace {

class Fitsverify : public Program {
protected:
    std::string verdict(const std::string& file) {
        const std::string command = std::string(FITSVERIFY) + " " + file + " 2>&1";
        FILE* pipe = popen(command.c_str(), "r");
        std::string output;
        std::array<char, 512> buffer{};
        while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr)
            output += buffer.data();
        pclose(pipe);
        return output;
    }

    void expectFlawless(const std::string& file) {
        const std::string output = verdict(file);
        EXPECT_NE(output.find("found 0 warning(s) and 0 error(s)"), std::string::npos) << output;
    }
};

} // namespace

TEST_F(Fitsverify, FindsNoFaultInAFullHeader) {
    camera().capabilities.colourType = COLOUR_BAYER;
    camera().temperatures = {-10};
    ASSERT_EQ(run({"expose", "30", "-o", path("a.fits"), "--object", "M 42's core", "--temperature",
                   "-10", "--filter", "2", "--dark"}),
              0)
        << err;
    expectFlawless(path("a.fits"));
}

TEST_F(Fitsverify, FindsNoFaultInTheOtherFamiliesFrames) {
    cameras = {glintState()};
    ASSERT_EQ(run({"expose", "0.1", "-o", path("a.fits"), "--window", "3,3,1x1"}), 0) << err;
    expectFlawless(path("a.fits"));
    cameras = {lumenState()};
    ASSERT_EQ(run({"expose", "5", "-o", path("b.fits"), "--bin", "3"}), 0) << err;
    expectFlawless(path("b.fits"));
}

TEST_F(Fitsverify, FindsFaults) {
    std::FILE* file = std::fopen(path("a.fits").c_str(), "w");
    std::fputs("SIMPLE  = nothing of the kind", file);
    std::fclose(file);
    EXPECT_EQ(verdict(path("a.fits")).find("found 0 warning(s) and 0 error(s)"), std::string::npos);
}
