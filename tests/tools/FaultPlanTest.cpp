#include "tools/gateway-simulator/FaultPlan.h"

#include <gtest/gtest.h>

#include <string>

#include "tools/gateway-simulator/FaultNames.h"

namespace Simulator {
namespace {

std::string Describe(const std::vector<Fault>& faults) {
    std::string text;
    for (const Fault& fault : faults) {
        text += (text.empty() ? "" : ", ") + DescribeFault(fault);
    }
    return text;
}

TEST(FaultPlanTest, AppliesAFaultOnceByDefault) {
    FaultPlan plan;
    plan.Inject(Fault::Silence());
    EXPECT_EQ(Describe(plan.Take(5)), "silence");
    EXPECT_EQ(Describe(plan.Take(5)), "");
}

TEST(FaultPlanTest, AppliesAFaultAsOftenAsItSays) {
    FaultPlan plan;
    plan.Inject(Fault::WrongCrc().Times(2));
    EXPECT_EQ(plan.Take(5).size(), 1U);
    EXPECT_EQ(plan.Take(6).size(), 1U);
    EXPECT_EQ(plan.Take(5).size(), 0U);
}

TEST(FaultPlanTest, NeverUsesUpAFaultForAlways) {
    FaultPlan plan;
    plan.Inject(Fault::Twice().Always());
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(plan.Take(5).size(), 1U);
    }
    plan.Clear();
    EXPECT_TRUE(plan.Take(5).empty());
}

TEST(FaultPlanTest, AppliesFaultsOfDifferentKindsTogether) {
    FaultPlan plan;
    plan.Inject(Fault::Junk({0xAB, 0xCD}));
    plan.Inject(Fault::Delay(std::chrono::milliseconds(500)).Times(2));
    EXPECT_EQ(Describe(plan.Take(5)), "junk ABCD, delay 500");
    EXPECT_EQ(Describe(plan.Take(5)), "delay 500");
}

TEST(FaultPlanTest, ReplacesAFaultOfTheSameKind) {
    FaultPlan plan;
    plan.Inject(Fault::WrongLength(5).Times(3));
    plan.Inject(Fault::WrongLength(6));
    EXPECT_EQ(Describe(plan.Take(5)), "wrong-length 6");
    EXPECT_EQ(Describe(plan.Take(5)), "");
}

TEST(FaultPlanTest, TakesAFaultBackWithACountOfZero) {
    FaultPlan plan;
    plan.Inject(Fault::Silence().Always());
    plan.Inject(Fault::Silence().Times(0));
    EXPECT_TRUE(plan.Faults().empty());
}

TEST(FaultPlanTest, SparesOtherLocksThanTheOneNamed) {
    FaultPlan plan;
    plan.Inject(Fault::Silence().ForLock(6));
    EXPECT_EQ(Describe(plan.Take(5)), "");
    EXPECT_EQ(Describe(plan.Take(0x100)), "");
    EXPECT_EQ(Describe(plan.Take(6)), "silence");
    EXPECT_EQ(Describe(plan.Take(6)), "");
}

TEST(FaultPlanTest, KeepsTheForcedResultApart) {
    FaultPlan plan;
    plan.Inject(Fault::ForceResult(12));
    EXPECT_EQ(Describe(plan.Take(5)), "");
    ASSERT_TRUE(plan.Faults().size() == 1);
    EXPECT_EQ(plan.TakeForcedResult(5)->Byte(), 12);
    EXPECT_FALSE(plan.TakeForcedResult(5).has_value());
}

}  // namespace
}  // namespace Simulator
