// SPDX-License-Identifier: LGPL-2.1-or-later
#include "faults/fault_plan.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tavo::virtualusb::test {

namespace {

FaultPlan planOf(const std::string& text) {
    FaultPlan plan;
    addFault(plan, text);
    return plan;
}

std::string complaint(const std::string& text) {
    try {
        planOf(text);
    } catch (const std::invalid_argument& problem) {
        return problem.what();
    }
    return "";
}

} // namespace

TEST(FaultPlan, ReadsEveryPlaceAndKind) {
    const std::pair<const char*, Fault::Where> places[] = {
        {"bulk-in", Fault::Where::bulkIn},
        {"bulk-out", Fault::Where::bulkOut},
        {"control-in", Fault::Where::controlIn},
        {"control-out", Fault::Where::controlOut}};
    const std::pair<const char*, Fault::Kind> kinds[] = {{"timeout", Fault::Kind::timeout},
                                                         {"stall", Fault::Kind::stall},
                                                         {"short", Fault::Kind::shortPacket},
                                                         {"corrupt", Fault::Kind::corrupt},
                                                         {"late", Fault::Kind::late}};
    for (const auto& [place, where] : places)
        for (const auto& [word, kind] : kinds) {
            const FaultPlan plan = planOf(std::string{place} + ":0.25:" + word);
            ASSERT_EQ(plan.faults.size(), 1U);
            EXPECT_EQ(plan.faults[0].where, where);
            EXPECT_EQ(plan.faults[0].kind, kind);
            EXPECT_EQ(plan.faults[0].probability, 0.25);
            EXPECT_EQ(plan.faults[0].delay, kind == Fault::Kind::late ? 500000U : 0U);
        }
}

TEST(FaultPlan, ReadsTimesAndCounts) {
    EXPECT_EQ(planOf("bulk-in:1:late:20").faults[0].delay, 20000U);
    EXPECT_EQ(planOf("unplug-after:250").unplugAfter, 250U);
    EXPECT_EQ(planOf("unplug-after:250").replugDelay, std::nullopt);
    EXPECT_EQ(planOf("unplug-after:1:2000").replugDelay, 2000000U);
    EXPECT_TRUE(planOf("ping:never").pingUnanswered);
    EXPECT_FALSE(planOf("ping:never").touchesTraffic());
    EXPECT_TRUE(planOf("unplug-after:9").touchesTraffic());
    EXPECT_TRUE(planOf("bulk-in:0:stall").touchesTraffic());
}

TEST(FaultPlan, GathersFaults) {
    FaultPlan plan;
    addFault(plan, "bulk-in:0.1:stall");
    addFault(plan, "bulk-in:0.2:short");
    addFault(plan, "unplug-after:10:5");
    addFault(plan, "unplug-after:20");
    EXPECT_EQ(plan.faults.size(), 2U);
    EXPECT_EQ(plan.unplugAfter, 20U);
    EXPECT_EQ(plan.replugDelay, std::nullopt) << "the last word counts";
}

TEST(FaultPlan, SaysWhatWasWrongAndWhatIsAccepted) {
    EXPECT_NE(complaint("bulk:0.1:stall").find("\"bulk\" is unknown; accepted are WHERE"),
              std::string::npos);
    EXPECT_NE(complaint("bulk-in:0.1:melt").find("\"melt\" is no kind of fault"),
              std::string::npos);
    EXPECT_NE(complaint("bulk-in:1.1:stall").find("\"1.1\" is no probability from 0 to 1"),
              std::string::npos);
    for (const char* text : {"",
                             ":",
                             "bulk-in",
                             "bulk-in:0.1",
                             "bulk-in:-0.1:stall",
                             "bulk-in:nan:stall",
                             "bulk-in::stall",
                             "bulk-in:0.1x:stall",
                             "bulk-in:0.1:stall:5",
                             "bulk-in:0.1:late:0",
                             "bulk-in:0.1:late:",
                             "bulk-in:0.1:late:3600001",
                             "bulk-in:0.1:late:5:6",
                             "unplug-after",
                             "unplug-after:",
                             "unplug-after:0",
                             "unplug-after:-1",
                             "unplug-after:1:0",
                             "unplug-after:1:2:3",
                             "ping",
                             "ping:always",
                             "ping:never:1"})
        EXPECT_NE(complaint(text), "") << text;
}

} // namespace tavo::virtualusb::test
