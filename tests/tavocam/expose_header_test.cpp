// SPDX-License-Identifier: LGPL-2.1-or-later
#include <fstream>
#include <iterator>

#include "fits_reader.h"
#include "program.h"

namespace {

using Header = Program;

} // namespace

TEST_F(Header, TellsTheExposure) {
    EXPECT_EQ(run({"expose", "30", "-o", path("a.fits"), "--object", "M 42's core"}), 0) << err;
    FitsReader fits(path("a.fits"));
    EXPECT_EQ(fits.numberOf("BITPIX"), 16);
    EXPECT_EQ(fits.numberOf("BZERO"), 32768);
    EXPECT_EQ(fits.numberOf("NAXIS1"), 64);
    EXPECT_EQ(fits.numberOf("NAXIS2"), 48);
    EXPECT_EQ(fits.textOf("DATE-OBS"), "2026-01-31T22:15:00.250");
    EXPECT_NEAR(fits.numberOf("EXPTIME"), 30, 1e-6);
    EXPECT_EQ(fits.textOf("IMAGETYP"), "Light Frame");
    EXPECT_EQ(fits.textOf("OBJECT"), "M 42's core");
    EXPECT_EQ(fits.textOf("INSTRUME"), "Tavo Ridge C");
    EXPECT_EQ(fits.textOf("FILTER"), "1");
    EXPECT_EQ(fits.textOf("ROWORDER"), "TOP-DOWN");
    EXPECT_EQ(fits.textOf("SWCREATE").find("tavocam "), 0U);
    EXPECT_NEAR(fits.numberOf("CCD-TEMP"), 20, 1e-6);
    EXPECT_EQ(fits.commentOf("EXPTIME"), "[s] exposure time");
    for (const char* absent : {"SET-TEMP", "BAYERPAT"})
        EXPECT_FALSE(fits.has(absent)) << absent;
}

TEST_F(Header, TellsTheGeometry) {
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--bin", "4x2", "--window", "8,6,40x30",
                   "--dark"}),
              0)
        << err;
    FitsReader fits(path("a.fits"));
    EXPECT_EQ(fits.numberOf("NAXIS1"), 10);
    EXPECT_EQ(fits.numberOf("NAXIS2"), 15);
    EXPECT_EQ(fits.numberOf("XBINNING"), 4);
    EXPECT_EQ(fits.numberOf("YBINNING"), 2);
    EXPECT_NEAR(fits.numberOf("XPIXSZ"), 25.8, 1e-9);
    EXPECT_NEAR(fits.numberOf("YPIXSZ"), 13, 1e-9);
    EXPECT_EQ(fits.numberOf("XORGSUBF"), 2);
    EXPECT_EQ(fits.numberOf("YORGSUBF"), 3);
    EXPECT_EQ(fits.textOf("IMAGETYP"), "Dark Frame");
}

TEST_F(Header, TellsTheSetPointOfARegulatingCoolerOnly) {
    camera().coolingTarget = -15;
    camera().coolingState = WARMING_UP;
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 0);
    EXPECT_FALSE(FitsReader(path("a.fits")).has("SET-TEMP"));
    camera().coolingState = COOLING_SETPOINT;
    EXPECT_EQ(run({"expose", "1", "-o", path("b.fits")}), 0);
    EXPECT_NEAR(FitsReader(path("b.fits")).numberOf("SET-TEMP"), -15, 1e-6);
}

TEST_F(Header, OmitsWhatTheCameraDoesNotKnow) {
    cameras = {basinState()};
    camera().capabilities.tempSensorCount = 0;
    camera().capabilities.coolerType = COOLER_NONE;
    EXPECT_EQ(run({"expose", "0.1", "-o", path("a.fits")}), 0) << err;
    FitsReader fits(path("a.fits"));
    for (const char* absent : {"CCD-TEMP", "SET-TEMP", "FILTER", "OBJECT"})
        EXPECT_FALSE(fits.has(absent)) << absent;
    EXPECT_NE(out.find("temperature unknown"), std::string::npos);
}

TEST_F(Header, TellsTheTemperatureOfACameraThatCountsNoSensors) {
    cameras = {glintState()};
    camera().temperatures = {27.5F};
    EXPECT_EQ(run({"expose", "0.1", "-o", path("a.fits")}), 0) << err;
    FitsReader fits(path("a.fits"));
    EXPECT_NEAR(fits.numberOf("CCD-TEMP"), 27.5, 1e-6);
    std::ifstream file(path("a.fits"), std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    EXPECT_NE(bytes.find("COMMENT CCD-TEMP is the camera's only sensor"), std::string::npos);
    EXPECT_NE(out.find("27.5 C"), std::string::npos) << out;
}

TEST_F(Header, AskedNoTargetOfACameraThatHidesItsSensor) {
    cameras = {lumenState()};
    camera().sensorKindKnown = false;
    camera().coolingState = COOLING_SETPOINT;
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 0) << err;
    FitsReader fits(path("a.fits"));
    EXPECT_FALSE(fits.has("CCD-TEMP"));
    EXPECT_FALSE(fits.has("SET-TEMP"));
}

TEST_F(Header, TellsTheCamerasExposureNotTheWish) {
    cameras = {basinState()};
    EXPECT_EQ(run({"expose", "0.126", "-o", path("a.fits")}), 0) << err;
    EXPECT_NEAR(FitsReader(path("a.fits")).numberOf("EXPTIME"), 0.13, 1e-9);
}

TEST_F(Header, TellsTheExposureThatALateHostMade) {
    clock.oversleep = 0.07;
    EXPECT_EQ(run({"expose", "10", "-o", path("a.fits")}), 0) << err;
    const double passed = clock.monotonic() - FakeClock::kStart;
    EXPECT_GT(passed, 10.01);
    EXPECT_NEAR(FitsReader(path("a.fits")).numberOf("EXPTIME"), passed, 1e-5);
}

TEST_F(Header, CountsTheReadoutsShareIntoTheExposure) {
    cameras = {basinState()};
    EXPECT_EQ(run({"expose", "10", "-o", path("a.fits")}), 0) << err;
    EXPECT_NEAR(FitsReader(path("a.fits")).numberOf("EXPTIME"), 10, 1e-5);
}

TEST_F(Header, StartsTimedExposuresWhenTheyBegan) {
    // A second passes in the request before the camera opens its shutter.
    camera().onCall = [this](const std::string& call) {
        if (call.find("readCCD") == 0)
            clock.advance(1);
    };
    EXPECT_EQ(run({"expose", "2", "-o", path("a.fits")}), 0) << err;
    EXPECT_EQ(FitsReader(path("a.fits")).textOf("DATE-OBS"), "2026-01-31T22:15:01.250");
}

TEST_F(Header, StartsTimedExposuresNoSoonerThanTheirRequest) {
    cameras = {glintState()}; // its request returns at once
    EXPECT_EQ(run({"expose", "0.4", "-o", path("a.fits")}), 0) << err;
    EXPECT_EQ(FitsReader(path("a.fits")).textOf("DATE-OBS"), "2026-01-31T22:15:00.250");
}

TEST_F(Header, NamesTheMosaicOfColourCameras) {
    camera().capabilities.colourType = COLOUR_BAYER;
    camera().capabilities.offsetX = 1;
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--window", "1,1,20x20"}), 0) << err;
    EXPECT_EQ(FitsReader(path("a.fits")).textOf("BAYERPAT"), "GBRG");
    EXPECT_EQ(run({"expose", "1", "-o", path("b.fits"), "--bin", "2"}), 0) << err;
    EXPECT_FALSE(FitsReader(path("b.fits")).has("BAYERPAT"));
}

TEST_F(Header, TellsOfPixelsThatTheCameraDoesNotSend) {
    cameras = {lumenState()};
    camera().image = {7};
    camera().onCall = [this](const std::string& call) {
        if (call.find("getImage") == 0) {
            camera().image.assign(64 * 48, 7);
            camera().image.back() = camera().image[64 * 48 - 2] = 9999;
        }
    };
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 0) << err;
    FitsReader fits(path("a.fits"));
    EXPECT_TRUE(fits.has("COMMENT"));
    EXPECT_EQ(fits.pixels(), std::vector<std::uint16_t>(64 * 48, 7));
}
