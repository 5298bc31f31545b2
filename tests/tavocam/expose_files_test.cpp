// SPDX-License-Identifier: LGPL-2.1-or-later
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <sys/resource.h>
#include <sys/stat.h>

#include "fits_reader.h"
#include "program.h"

namespace fs = std::filesystem;

namespace {

using Files = std::vector<std::string>;

class ExposeFiles : public Program {
protected:
    void create(const std::string& name) { std::ofstream(path(name)) << "old"; }

    std::string contentOf(const std::string& name) {
        std::ifstream stream(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    // Something happens to the disk while the camera exposes.
    void duringTheExposure(std::function<void()> action) {
        camera().onCall = [action = std::move(action)](const std::string& call) {
            if (call.find("getImage") == 0)
                action();
        };
    }
};

} // namespace

TEST_F(ExposeFiles, FrameAndPreviewAreWritten) {
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--preview", path("a.png")}), 0) << err;
    EXPECT_EQ(files(), (Files{"a.fits", "a.png"}));
    EXPECT_EQ(contentOf("a.png").substr(1, 3), "PNG");
    const auto pixels = FitsReader(path("a.fits")).pixels();
    ASSERT_EQ(pixels.size(), 64U * 48U);
    EXPECT_EQ(pixels[0], 100);
    EXPECT_EQ(pixels[4], 200);
}

TEST_F(ExposeFiles, TheSummaryTellsTheFramesFigures) {
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 0);
    EXPECT_EQ(out, path("a.fits") + ": 64x48 pixels, 1.000 s, 20.0 C, minimum 100, median 200.0, "
                                    "maximum 300 ADU, 0 stars\n");
    EXPECT_EQ(run({"expose", "1", "-o", path("b.fits"), "--quiet"}), 0);
    EXPECT_EQ(out, "");
}

TEST_F(ExposeFiles, ExistingFilesAreRefusedBeforeTheCameraIsTouched) {
    create("a.fits");
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 6);
    EXPECT_NE(err.find("--overwrite"), std::string::npos) << err;
    EXPECT_EQ(run({"expose", "1", "-o", path("b.fits"), "--preview", path("a.fits")}), 6);
    EXPECT_TRUE(camera().calls.empty());
    EXPECT_EQ(contentOf("a.fits"), "old");
    EXPECT_EQ(files(), Files{"a.fits"});
}

TEST_F(ExposeFiles, ExistingFilesAreReplacedWhenAsked) {
    create("a.fits");
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--overwrite"}), 0) << err;
    EXPECT_NE(contentOf("a.fits"), "old");
    EXPECT_EQ(files(), Files{"a.fits"});
}

TEST_F(ExposeFiles, ImpossibleNamesAreRefusedBeforeTheCameraIsTouched) {
    fs::create_directory(path("folder"));
    for (const std::string& name :
         {path("none/a.fits"), path("folder"), path("folder/"), std::string(),
          path(std::string(300, 'x')), std::string("/proc/a.fits")}) {
        EXPECT_EQ(run({"expose", "1", "-o", name}), 6) << name;
        EXPECT_NE(err, "");
    }
    // A pipe of our own: if this check broke, a device of the system would be replaced.
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(run({"expose", "1", "-o", path("pipe"), "--overwrite"}), 6);
    EXPECT_TRUE(fs::is_fifo(path("pipe")));
    EXPECT_EQ(run({"expose", "1", "-o", path("a"), "--preview", path("folder/../a")}), 2);
    EXPECT_TRUE(camera().calls.empty());
    EXPECT_EQ(files(), (Files{"folder", "pipe"}));
}

TEST_F(ExposeFiles, AFullDiskIsRefusedBeforeTheExposure) {
    // No disk has room for the frame of such a sensor.
    camera().capabilities.pixelCountX = camera().capabilities.pixelCountY = 0x80000000;
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 6);
    EXPECT_NE(err.find("make room first"), std::string::npos) << err;
    EXPECT_EQ(camera().calls.back(), "close()");
    EXPECT_EQ(callsFrom("getCapabilities()").size(), 2U);
}

TEST_F(ExposeFiles, AFileThatAppearsMeanwhileIsKeptAndSoIsTheFrame) {
    duringTheExposure([this] { create("a.fits"); });
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits")}), 6);
    EXPECT_NE(err.find("saved as " + path("a-1.fits")), std::string::npos) << err;
    EXPECT_EQ(contentOf("a.fits"), "old");
    EXPECT_EQ(FitsReader(path("a-1.fits")).pixels().size(), 64U * 48U);
    EXPECT_EQ(files(), (Files{"a-1.fits", "a.fits"}));
}

TEST_F(ExposeFiles, AFrameWhoseDirectoryGoesIsSavedAmongTemporaryFiles) {
    fs::create_directory(path("night"));
    fs::create_directory(path("temporary"));
    setenv("TMPDIR", path("temporary").c_str(), 1);
    duringTheExposure([this] { fs::remove(path("night")); });
    EXPECT_EQ(run({"expose", "1", "-o", path("night/a.fits")}), 6);
    unsetenv("TMPDIR");
    EXPECT_NE(err.find("saved as " + path("temporary/a-1.fits")), std::string::npos) << err;
    EXPECT_EQ(FitsReader(path("temporary/a-1.fits")).pixels().size(), 64U * 48U);
}

TEST_F(ExposeFiles, AFrameThatFitsNowhereLeavesNoHalfFile) {
    struct rlimit former {};
    getrlimit(RLIMIT_FSIZE, &former);
    const auto formerHandler = std::signal(SIGXFSZ, SIG_IGN);
    duringTheExposure([&former] {
        const struct rlimit limited { 1000, former.rlim_max };
        setrlimit(RLIMIT_FSIZE, &limited);
    });
    const int code = run({"expose", "1", "-o", path("a.fits"), "--preview", path("a.png")});
    setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, formerHandler);
    EXPECT_EQ(code, 6);
    EXPECT_NE(err.find("File too large"), std::string::npos) << err;
    EXPECT_NE(err.find("the frame is lost"), std::string::npos) << err;
    EXPECT_TRUE(files().empty());
}

TEST_F(ExposeFiles, APreviewThatFailsLeavesTheFrame) {
    duringTheExposure([this] { create("a.png"); });
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--preview", path("a.png")}), 6);
    EXPECT_NE(err.find("the frame itself is in " + path("a.fits")), std::string::npos) << err;
    EXPECT_EQ(contentOf("a.png"), "old");
    EXPECT_EQ(files(), (Files{"a.fits", "a.png"}));
}

TEST_F(ExposeFiles, OneFileUnderTwoNamesIsRefused) {
    fs::create_directory(path("d"));
    fs::create_directory_symlink("d", path("link"));
    const fs::path former = fs::current_path();
    fs::current_path(directory);
    for (const auto& [frame, preview] : {std::pair<std::string, std::string>{"same", "./same"},
                                         {"./same", "same"},
                                         {"same", "d/../same"},
                                         {"d/../same", "./same"},
                                         {"same", path("same")},
                                         {path("same"), "same"},
                                         {"d/same", "link/same"}}) {
        for (const bool overwrite : {false, true}) {
            std::vector<std::string> arguments{"expose", "1", "-o", frame, "--preview", preview};
            if (overwrite)
                arguments.emplace_back("--overwrite");
            EXPECT_EQ(run(arguments), 2) << frame << " and " << preview;
            EXPECT_NE(err.find("same name"), std::string::npos) << err;
        }
    }
    EXPECT_EQ(run({"expose", "1", "-o", "same", "--preview", "d/same"}), 0) << err;
    fs::current_path(former);
    EXPECT_EQ(files(), (Files{"d", "link", "same"}));
}

TEST_F(ExposeFiles, ALinkAndItsFileAreOneFile) {
    create("a.fits");
    fs::create_symlink("a.fits", path("a.png"));
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--preview", path("a.png"), "--overwrite"}),
              2);
    EXPECT_EQ(contentOf("a.fits"), "old");
}

TEST_F(ExposeFiles, ALinkIsWrittenThrough) {
    fs::create_directory(path("d"));
    create("d/a.fits");
    fs::create_symlink("d/a.fits", path("latest.fits"));
    EXPECT_EQ(run({"expose", "1", "-o", path("latest.fits")}), 6);
    EXPECT_EQ(contentOf("d/a.fits"), "old");
    EXPECT_EQ(run({"expose", "1", "-o", path("latest.fits"), "--overwrite"}), 0) << err;
    EXPECT_TRUE(fs::is_symlink(path("latest.fits")));
    ASSERT_NE(contentOf("d/a.fits"), "old");
    EXPECT_EQ(FitsReader(path("d/a.fits")).pixels().size(), 64U * 48U);
    EXPECT_EQ(files(), (Files{"d", "latest.fits"}));
}

TEST_F(ExposeFiles, ALinkIntoAMissingDirectoryIsRefusedBeforeTheExposure) {
    fs::create_symlink("none/a.fits", path("latest.fits"));
    EXPECT_EQ(run({"expose", "1", "-o", path("latest.fits"), "--overwrite"}), 6);
    EXPECT_NE(err.find("none; create it first"), std::string::npos) << err;
    EXPECT_TRUE(camera().calls.empty());
}

TEST_F(ExposeFiles, AFullStandardOutputIsToldWithTheFilesThatAreSafe) {
    outFull = true;
    EXPECT_EQ(run({"expose", "1", "-o", path("a.fits"), "--preview", path("a.png")}), 6);
    EXPECT_NE(err.find("standard output"), std::string::npos) << err;
    EXPECT_NE(err.find("files written: " + path("a.fits") + " and " + path("a.png")),
              std::string::npos)
        << err;
    EXPECT_EQ(files(), (Files{"a.fits", "a.png"}));
}
