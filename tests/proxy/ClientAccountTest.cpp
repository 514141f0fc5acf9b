#include "proxy/net/ClientAccount.h"

#include <gtest/gtest.h>

namespace MuxProxy {
namespace {

using std::chrono::milliseconds;

TEST(AllowanceTest, WhatWasTakenBeyondItIsWaitedFor) {
    const Allowance::Clock::time_point now;
    Allowance allowance(3, milliseconds(10), now);
    allowance.Spend(22);
    EXPECT_EQ(allowance.Wait(now), milliseconds(200));
    EXPECT_EQ(allowance.Wait(now + milliseconds(199)), milliseconds(10));
    EXPECT_EQ(allowance.Wait(now + milliseconds(200)), milliseconds(0));
    EXPECT_EQ(allowance.Wait(now + milliseconds(5000)), milliseconds(0));
    allowance.Spend(3);
    EXPECT_EQ(allowance.Wait(now + milliseconds(5000)), milliseconds(10));
}

TEST(ClientAccountTest, AllConnectionsShareWhatMayWait) {
    ClientAccount account;
    EXPECT_TRUE(account.AddPending(ClientAccount::kMostPending));
    EXPECT_FALSE(account.AddPending(1));
    account.RemovePending(1);
    EXPECT_TRUE(account.AddPending(1));
}

TEST(ClientAccountTest, RowsThatWereLeftOutAreCounted) {
    ClientAccount account;
    int rows = 0;
    for (int i = 0; i < 100; ++i) {
        rows += account.MayHaveRow() ? 1 : 0;
    }
    EXPECT_EQ(rows, 60);
    EXPECT_EQ(account.TakeWithoutRow(), 40U);
    EXPECT_EQ(account.TakeWithoutRow(), 0U);
}

}  // namespace
}  // namespace MuxProxy
