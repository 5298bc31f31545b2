// SPDX-License-Identifier: LGPL-2.1-or-later
#include "report.h"

#include <gtest/gtest.h>

#include <new>
#include <sstream>
#include <stdexcept>
#include <vector>

using namespace acceptance;

namespace {

class ReportTest : public testing::Test {
protected:
    std::ostringstream out;
    Report report{out};
    bool told(const std::string& words) const { return out.str().find(words) != std::string::npos; }
};

TEST_F(ReportTest, CountsWhatBecameOfTheSteps) {
    EXPECT_TRUE(report.step("one", [] { return "fine"; }));
    EXPECT_TRUE(report.step("two", []() -> std::string { throw Skip("not here"); }));
    EXPECT_FALSE(report.step("three", []() -> std::string { throw Failure("expected x, saw y"); }));
    EXPECT_FALSE(report.finish());
    EXPECT_TRUE(told("ok: fine"));
    EXPECT_TRUE(told("skipped: not here"));
    EXPECT_TRUE(told("FAILED: expected x, saw y"));
    EXPECT_TRUE(told("1 ok, 1 failed, 1 skipped"));
}

TEST_F(ReportTest, NothingFailedWhereOnlySomeWereSkipped) {
    report.step("one", [] { return ""; });
    report.step("two", []() -> std::string { throw Skip("not here"); });
    EXPECT_TRUE(report.finish());
}

TEST_F(ReportTest, BrokenStepEndsAloneAndFails) {
    EXPECT_FALSE(
        report.step("one", []() -> std::string { return std::vector<const char*>{}.at(3); }));
    EXPECT_FALSE(report.step("two", []() -> std::string { throw std::bad_alloc(); }));
    EXPECT_TRUE(report.step("three", [] { return ""; }));
    EXPECT_FALSE(report.finish());
    EXPECT_TRUE(told("FAILED: expected no exception, saw "));
    EXPECT_TRUE(told("FAILED: expected memory"));
    EXPECT_TRUE(told("1 ok, 2 failed, 0 skipped"));
}

} // namespace
