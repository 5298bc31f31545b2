// SPDX-License-Identifier: LGPL-2.1-or-later
#include "command_line.h"

#include <gtest/gtest.h>

#include "failure.h"

using namespace tavocam;

namespace {

ExposeCommand expose(const std::vector<std::string>& arguments) {
    return std::get<ExposeCommand>(parseCommandLine(arguments));
}

std::string refusal(const std::vector<std::string>& arguments) {
    try {
        parseCommandLine(arguments);
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.exitCode, kUsage);
        return failure.what();
    }
    return "";
}

} // namespace

TEST(CommandLine, TakesEveryOptionOfExpose) {
    const ExposeCommand command = expose({"expose",
                                          "30",
                                          "--bin",
                                          "2",
                                          "--window",
                                          "1,2,30x40",
                                          "--temperature",
                                          "-10",
                                          "--dark",
                                          "--covered",
                                          "--filter",
                                          "2",
                                          "-o",
                                          "m42.fits",
                                          "--preview",
                                          "m42.png",
                                          "--overwrite",
                                          "--object",
                                          "M 42",
                                          "--camera",
                                          "1",
                                          "--quiet",
                                          "--temperature-timeout",
                                          "60"});
    EXPECT_EQ(command.request.seconds, 30);
    EXPECT_EQ(command.request.binning, (Binning{2, 2}));
    EXPECT_EQ(command.request.window, (Window{1, 2, 30, 40}));
    EXPECT_EQ(command.request.temperature, -10);
    EXPECT_EQ(command.request.temperatureTimeout, 60);
    EXPECT_TRUE(command.request.dark);
    EXPECT_TRUE(command.request.covered);
    EXPECT_EQ(command.request.filter, 2U);
    EXPECT_EQ(command.request.object, "M 42");
    EXPECT_EQ(command.outputs.fits, "m42.fits");
    EXPECT_EQ(command.outputs.preview, "m42.png");
    EXPECT_TRUE(command.outputs.overwrite);
    EXPECT_TRUE(command.quiet);
    EXPECT_EQ(command.camera, "1");
}

TEST(CommandLine, LeavesOutWhatIsNotAskedFor) {
    const ExposeCommand command = expose({"expose", "0.5", "--output", "a.fits"});
    EXPECT_EQ(command.request.binning, (Binning{1, 1}));
    EXPECT_FALSE(command.request.window);
    EXPECT_FALSE(command.request.temperature);
    EXPECT_FALSE(command.request.filter);
    EXPECT_FALSE(command.request.object);
    EXPECT_FALSE(command.outputs.preview);
    EXPECT_FALSE(command.outputs.overwrite);
    EXPECT_FALSE(command.camera);
}

TEST(CommandLine, KnowsTheOtherVerbs) {
    EXPECT_TRUE(std::holds_alternative<ListCommand>(parseCommandLine({"list"})));
    EXPECT_EQ(std::get<InfoCommand>(parseCommandLine({"info", "--camera", "x"})).camera, "x");
    EXPECT_EQ(std::get<WarmCommand>(parseCommandLine({"warm"})).camera, std::nullopt);
}

TEST(CommandLine, HelpTellsExitCodesAndExamples) {
    const std::string help = std::get<PrintCommand>(parseCommandLine({"--help"})).output;
    EXPECT_NE(help.find("Exit codes"), std::string::npos);
    EXPECT_NE(help.find("tavocam expose 300"), std::string::npos);
    const auto exposeHelp = std::get<PrintCommand>(parseCommandLine({"expose", "--help"})).output;
    EXPECT_NE(exposeHelp.find("--temperature-timeout"), std::string::npos);
    const auto version = std::get<PrintCommand>(parseCommandLine({"--version"})).output;
    EXPECT_EQ(version.find("tavocam "), 0U);
}

TEST(CommandLine, RefusesMistakes) {
    EXPECT_NE(refusal({}), "");
    EXPECT_NE(refusal({"photograph"}), "");
    EXPECT_NE(refusal({"expose", "30"}).find("--output"), std::string::npos);
    EXPECT_NE(refusal({"expose", "-o", "a.fits"}).find("seconds"), std::string::npos);
    EXPECT_NE(refusal({"expose", "soon", "-o", "a.fits"}).find("soon"), std::string::npos);
    EXPECT_NE(refusal({"expose", "1", "-o", "a.fits", "--bin", "0"}).find("binning 0"),
              std::string::npos);
    EXPECT_NE(refusal({"expose", "1", "-o", "a.fits", "--filter", "-1"}), "");
    EXPECT_NE(refusal({"expose", "1", "-o", "a.fits", "--window", "1,1"}).find("X,Y,WxH"),
              std::string::npos);
    EXPECT_NE(refusal({"expose", "1", "-o", "a.fits", "--temperature-timeout", "nan"}), "");
    EXPECT_NE(refusal({"expose", "1", "-o", "a.fits", "--colour"}), "");
}

TEST(CommandLine, ObjectNamesMustFitAFitsHeader) {
    const auto named = [](const std::string& name) {
        return std::vector<std::string>{"expose", "1", "-o", "a.fits", "--object", name};
    };
    EXPECT_EQ(expose(named(std::string(68, 'x'))).request.object, std::string(68, 'x'));
    EXPECT_NE(refusal(named(std::string(69, 'x'))), "");
    EXPECT_NE(refusal(named(std::string(35, '\''))), "");
    EXPECT_NE(refusal(named("caf\xc3\xa9")), "");
    EXPECT_NE(refusal(named("two\nlines")), "");
}

TEST(CommandLine, NumbersAreStrictlyDecimal) {
    for (const char* argument : {"", "0x10", " 1", "1 ", "1s", "1,5", "nan", "inf", "86401", "1e9"})
        EXPECT_NE(refusal({"expose", argument, "-o", "a.fits"}).find("from 0 to 86400 seconds"),
                  std::string::npos)
            << argument;
    for (const char* argument : {"", "0x10", "-61", "51", "cold", "nan"})
        EXPECT_NE(refusal({"expose", "1", "-o", "a.fits", "--temperature", argument})
                      .find("from -60 to 50 degrees"),
                  std::string::npos)
            << argument;
    for (const char* argument : {"", "0x10", "-1", "86401", "nan"})
        EXPECT_NE(refusal({"expose", "1", "-o", "a.fits", "--temperature-timeout", argument})
                      .find("from 0 to 86400 seconds"),
                  std::string::npos)
            << argument;
    for (const char* argument : {"", "0x1", "-1", "1.5", "red"})
        EXPECT_NE(refusal({"expose", "1", "-o", "a.fits", "--filter", argument})
                      .find("whole number from 0 to the count"),
                  std::string::npos)
            << argument;
    EXPECT_EQ(expose({"expose", "1e-3", "-o", "a.fits"}).request.seconds, 1e-3);
}

TEST(CommandLine, ANegativeExposureIsTold) {
    EXPECT_NE(refusal({"expose", "-5", "-o", "a.fits"}).find("from 0 to 86400 seconds"),
              std::string::npos)
        << refusal({"expose", "-5", "-o", "a.fits"});
}

TEST(CommandLine, AnEmptyCameraIsRefused) {
    for (const char* verb : {"info", "warm"})
        EXPECT_NE(refusal({verb, "--camera", ""}).find("--camera takes"), std::string::npos);
    EXPECT_NE(refusal({"expose", "1", "-o", "a.fits", "--camera", ""}).find("--camera takes"),
              std::string::npos);
}
