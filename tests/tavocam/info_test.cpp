// SPDX-License-Identifier: LGPL-2.1-or-later
#include "program.h"

namespace {

class Info : public Program {
protected:
    void expectLine(const std::string& line) {
        EXPECT_NE(out.find(line + "\n"), std::string::npos) << line << " is not in\n" << out;
    }
};

} // namespace

TEST_F(Info, TellsEverything) {
    camera().temperatures = {-9.96F, 21, -10};
    camera().coolingState = COOLING_SETPOINT;
    camera().coolingTarget = -10;
    EXPECT_EQ(run({"info"}), 0) << err;
    expectLine("name:              Tavo Ridge C");
    expectLine("family:            Ridge");
    expectLine("serial number:     4711");
    expectLine("version:           2.7");
    expectLine("sensor:            64 x 48 pixels");
    expectLine("pixel size:        6.45 x 6.5 micrometres");
    expectLine("largest binning:   4 x 3");
    expectLine("colour:            monochrome");
    expectLine("exposure:          0.001 to 86400 s (timed by the camera up to 3 s)");
    expectLine("shutter:           yes");
    expectLine("guide port:        no");
    expectLine("8-bit mode:        no");
    expectLine("GPIO lines:        0");
    expectLine("chip temperature:  -10.0 degrees Celsius");
    expectLine("temperature 2:     21.0 degrees Celsius");
    expectLine("cooler:            regulates to a temperature");
    expectLine("cooling:           regulating to -10.0 degrees Celsius, power 42 %");
    expectLine("filter wheel:      5 positions, at 1");
    EXPECT_EQ(out.find("gain"), std::string::npos);
}

TEST_F(Info, OfALumenTellsItsGain) {
    cameras = {lumenState()};
    EXPECT_EQ(run({"info"}), 0) << err;
    expectLine("gain and offset:   12, 34");
}

TEST_F(Info, OfAGlintAsksNothingThatItLacks) {
    cameras = {glintState()};
    camera().capabilities.colourType = COLOUR_BAYER;
    EXPECT_EQ(run({"info"}), 0) << err;
    expectLine("exposure:          0.001 to 0.5 s");
    expectLine("temperature:       20.0 degrees Celsius");
    expectLine("cooler:            none");
    expectLine("filter wheel:      no");
    expectLine("colour:            Bayer mosaic, first red pixel at column 0, row 0");
    EXPECT_EQ(countCalls("getCoolingStatus()"), 0);
    EXPECT_EQ(countCalls("getFilterWheelStatus()"), 0);
}

TEST_F(Info, OfACameraThatHidesItsSensorSaysSo) {
    cameras = {lumenState()};
    camera().sensorKindKnown = false;
    EXPECT_EQ(run({"info"}), 0) << err;
    expectLine("chip temperature:  not told by the camera");
    expectLine("cooling:           off, power 42 %");
}

TEST_F(Info, GoesOnPastWhatCannotBeReadAndFailsInTheEnd) {
    cameras = {lumenState()};
    for (const auto& [operation, reason] :
         {std::pair{"getTemperatureSensorStatus", "Failed to read temperature sensor status"},
          std::pair{"getCoolingStatus", "Failed to set cooling status"},
          std::pair{"getFilterWheelStatus", "Failed to get filter wheel status"},
          std::pair{"getGain", "Failed to set gain"}}) {
        camera().failing = {operation};
        EXPECT_EQ(run({"info"}), 5) << operation;
        EXPECT_NE(err.find(reason), std::string::npos) << err;
        EXPECT_NE(out.find(reason), std::string::npos);
        EXPECT_NE(out.find("\ngain and offset:"), std::string::npos);
    }
}

TEST_F(Info, AFullStandardOutputIsAnError) {
    outFull = true;
    for (const char* verb : {"info", "list", "warm", "--help"}) {
        EXPECT_EQ(run({verb}), 6) << verb;
        EXPECT_NE(err.find("standard output cannot be written"), std::string::npos) << err;
    }
}
