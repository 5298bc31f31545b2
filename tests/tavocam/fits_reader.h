// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TAVOCAM_TESTS_FITS_READER_H
#define TAVOCAM_TESTS_FITS_READER_H

#include <cstdint>
#include <string>
#include <vector>

#include <fitsio.h>

// A FITS file read back by the library that everybody reads them with.
class FitsReader {
public:
    explicit FitsReader(const std::string& path);
    ~FitsReader();
    FitsReader(const FitsReader&) = delete;
    FitsReader& operator=(const FitsReader&) = delete;

    bool has(const std::string& key);
    std::string textOf(const std::string& key);
    double numberOf(const std::string& key);
    std::string commentOf(const std::string& key);
    std::vector<std::uint16_t> pixels();

private:
    fitsfile* file = nullptr;
};

#endif
