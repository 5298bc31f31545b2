// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fits_reader.h"

#include <array>

#include <gtest/gtest.h>

FitsReader::FitsReader(const std::string& path) {
    int status = 0;
    fits_open_diskfile(&file, path.c_str(), READONLY, &status);
    EXPECT_EQ(status, 0) << path;
}

FitsReader::~FitsReader() {
    int status = 0;
    fits_close_file(file, &status);
}

bool FitsReader::has(const std::string& key) {
    int status = 0;
    std::array<char, FLEN_CARD> card{};
    fits_read_card(file, key.c_str(), card.data(), &status);
    return status == 0;
}

std::string FitsReader::textOf(const std::string& key) {
    int status = 0;
    std::array<char, FLEN_VALUE> value{};
    fits_read_key(file, TSTRING, key.c_str(), value.data(), nullptr, &status);
    EXPECT_EQ(status, 0) << key;
    return value.data();
}

double FitsReader::numberOf(const std::string& key) {
    int status = 0;
    double value = 0;
    fits_read_key(file, TDOUBLE, key.c_str(), &value, nullptr, &status);
    EXPECT_EQ(status, 0) << key;
    return value;
}

std::string FitsReader::commentOf(const std::string& key) {
    int status = 0;
    std::array<char, FLEN_VALUE> value{};
    std::array<char, FLEN_COMMENT> comment{};
    fits_read_keyword(file, key.c_str(), value.data(), comment.data(), &status);
    EXPECT_EQ(status, 0) << key;
    return comment.data();
}

std::vector<std::uint16_t> FitsReader::pixels() {
    int status = 0;
    std::array<long, 2> axes{};
    fits_get_img_size(file, axes.size(), axes.data(), &status);
    std::vector<std::uint16_t> values(static_cast<std::size_t>(axes[0] * axes[1]));
    fits_read_img(file, TUSHORT, 1, static_cast<LONGLONG>(values.size()), nullptr, values.data(),
                  nullptr, &status);
    EXPECT_EQ(status, 0);
    return values;
}
