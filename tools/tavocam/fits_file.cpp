// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fits_file.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>

#include <fitsio.h>

#include "clock.h"
#include "text.h"

namespace tavocam {
namespace {

constexpr std::size_t kFitsBlock = 2880; // bytes

void check(int status) {
    if (status == 0)
        return;
    std::array<char, FLEN_STATUS> reason{};
    fits_get_errstatus(status, reason.data());
    throw std::runtime_error(text("the FITS file cannot be made: ", reason.data()));
}

// A FITS file in memory, so that the disk only ever sees a finished one. CFITSIO grows the memory
// and keeps the addresses of both members.
class MemoryFile {
public:
    MemoryFile() {
        if (memory == nullptr)
            throw std::bad_alloc();
        int status = 0;
        fits_create_memfile(&file, &memory, &size, kFitsBlock, std::realloc, &status);
        if (status != 0)
            std::free(memory);
        check(status);
    }
    ~MemoryFile() {
        int status = 0;
        fits_close_file(file, &status);
        std::free(memory);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    fitsfile* get() { return file; }

    // The memory may be larger than the file in it.
    std::vector<std::byte> bytes() {
        int status = 0;
        LONGLONG end = 0;
        fits_flush_file(file, &status);
        fits_get_hduaddrll(file, nullptr, nullptr, &end, &status);
        check(status);
        const auto* begin = static_cast<const std::byte*>(memory);
        return {begin, begin + end};
    }

private:
    std::size_t size = kFitsBlock;
    void* memory = std::calloc(1, kFitsBlock);
    fitsfile* file = nullptr;
};

class HeaderWriter {
public:
    explicit HeaderWriter(fitsfile* target) : file(target) {}

    void write(const char* key, const std::string& value, const char* comment) {
        int status = 0;
        fits_write_key_str(file, key, value.c_str(), comment, &status);
        check(status);
    }
    void write(const char* key, unsigned value, const char* comment) {
        int status = 0;
        fits_write_key_lng(file, key, value, comment, &status);
        check(status);
    }
    void write(const char* key, double value, int places, const char* comment) {
        int status = 0;
        fits_write_key_fixdbl(file, key, value, places, comment, &status);
        check(status);
    }
    void comment(const std::string& remark) {
        int status = 0;
        fits_write_comment(file, remark.c_str(), &status);
        check(status);
    }

private:
    fitsfile* file;
};

void writeExposure(HeaderWriter& header, const FrameDescription& frame) {
    header.write("DATE-OBS", formatUtc(frame.start), "start of the exposure");
    header.write("TIMESYS", "UTC", "time scale of DATE-OBS");
    header.write("EXPTIME", frame.exposure, 6, "[s] exposure time");
    header.write("IMAGETYP", frame.dark ? "Dark Frame" : "Light Frame", "kind of frame");
    if (frame.object)
        header.write("OBJECT", *frame.object, "object observed");
    if (frame.filter)
        header.write("FILTER", text(*frame.filter), "filter wheel position");
}

void writeCamera(HeaderWriter& header, const FrameDescription& frame) {
    header.write("INSTRUME", frame.instrument, "camera");
    if (frame.chipTemperature)
        header.write("CCD-TEMP", *frame.chipTemperature, 2,
                     "[Celsius] sensor temperature before exposure");
    if (frame.targetTemperature)
        header.write("SET-TEMP", *frame.targetTemperature, 2, "[Celsius] cooler set-point");
}

void writeGeometry(HeaderWriter& header, const FrameDescription& frame) {
    header.write("XBINNING", frame.binning.x, "horizontal binning factor");
    header.write("YBINNING", frame.binning.y, "vertical binning factor");
    header.write("XPIXSZ", frame.pixelSizeX * frame.binning.x, 4, "[um] width of a binned pixel");
    header.write("YPIXSZ", frame.pixelSizeY * frame.binning.y, 4, "[um] height of a binned pixel");
    header.write("XORGSUBF", frame.window.x / frame.binning.x, "[pixel] left edge, binned pixels");
    header.write("YORGSUBF", frame.window.y / frame.binning.y, "[pixel] top edge, binned pixels");
    header.write("ROWORDER", "TOP-DOWN", "first row of the file is the top of the image");
    if (frame.bayerPattern)
        header.write("BAYERPAT", *frame.bayerPattern, "colours of the first 2x2 pixels");
}

} // namespace

std::vector<std::byte> encodeFits(const Frame& frame, const FrameDescription& description) {
    MemoryFile file;
    std::array<long, 2> axes{static_cast<long>(frame.width), static_cast<long>(frame.height)};
    int status = 0;
    // USHORT_IMG writes BZERO 32768, the FITS way to unsigned 16-bit pixels.
    fits_create_img(file.get(), USHORT_IMG, axes.size(), axes.data(), &status);
    check(status);
    HeaderWriter header(file.get());
    writeExposure(header, description);
    writeCamera(header, description);
    writeGeometry(header, description);
    header.write("SWCREATE", "tavocam " TAVOCAM_VERSION, "program that wrote this file");
    for (const std::string& remark : description.comments)
        header.comment(remark);
    std::vector<std::uint16_t> pixels = frame.pixels; // the writer wants them mutable
    fits_write_img(file.get(), TUSHORT, 1, static_cast<LONGLONG>(pixels.size()), pixels.data(),
                   &status);
    check(status);
    return file.bytes();
}

} // namespace tavocam
