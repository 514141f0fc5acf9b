#include "proxy/web/LoginLimits.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/proxy/web/WebAccessKit.h"

namespace MuxProxy {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

using Reason = LoginLimits::Reason;

// A network for each number.
std::string AddressOf(int number) {
    return "10." + std::to_string(number / 65536) + '.' + std::to_string(number / 256 % 256) + '.' +
           std::to_string(number % 256);
}

// Limits and a clock.
class LoginLimitsTest : public testing::Test {
  protected:
    // "", "locked-out 60" or "too-many 6".
    std::string Begin(const std::string& name, const std::string& address) {
        const std::optional<LoginLimits::Refusal> refusal = limits_.Begin(name, address, now_);
        if (!refusal) {
            return "";
        }
        return (refusal->reason == Reason::kLockedOut ? "locked-out " : "too-many ") +
               std::to_string(refusal->wait.count());
    }

    // From a network that nobody else has.
    std::string Begin(const std::string& name) { return Begin(name, AddressOf(++lastNetwork_)); }

    std::string Try(const std::string& name, bool isRight) {
        std::string refusal = Begin(name);
        if (refusal.empty()) {
            limits_.Ended(name, isRight, now_);
        }
        return refusal;
    }

    void TryWrong(const std::string& name, int count) {
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(Try(name, false), "") << i;
        }
    }

    LoginLimits limits_;
    LoginLimits::Time now_ = kStart;
    int lastNetwork_ = 0;
};

TEST_F(LoginLimitsTest, FiveWrongPasswordsLockTheNameOut) {
    TryWrong("anna", 4);
    EXPECT_EQ(Try("anna", false), "");
    EXPECT_EQ(Begin("anna"), "locked-out 60");
    EXPECT_EQ(Begin("otto"), "");
    now_ += milliseconds(59001);
    EXPECT_EQ(Begin("anna"), "locked-out 1");
    now_ += milliseconds(999);
    EXPECT_EQ(Begin("anna"), "");
}

TEST_F(LoginLimitsTest, ARightPasswordForgivesAll) {
    TryWrong("anna", 4);
    EXPECT_EQ(Try("anna", true), "");
    TryWrong("anna", 5);
    EXPECT_EQ(Begin("anna"), "locked-out 60");
    now_ += seconds(60);
    EXPECT_EQ(Try("anna", true), "");
    TryWrong("anna", 5);
    EXPECT_EQ(Begin("anna"), "locked-out 60");
}

TEST_F(LoginLimitsTest, EachFurtherWrongPasswordDoublesTheTimeUpToAnHour) {
    TryWrong("anna", 5);
    for (const int next : {120, 240, 480, 960, 1920, 3600, 3600}) {
        now_ += std::chrono::hours(1);
        EXPECT_EQ(Try("anna", false), "");
        EXPECT_EQ(Begin("anna"), "locked-out " + std::to_string(next));
    }
}

TEST_F(LoginLimitsTest, TriesUnderWayCountAsIfTheyWereWrong) {
    TryWrong("anna", 3);
    EXPECT_EQ(Begin("anna"), "");
    EXPECT_EQ(Begin("anna"), "");
    EXPECT_EQ(Begin("anna"), "too-many 1");
    limits_.Dropped("anna");
    EXPECT_EQ(Begin("anna"), "");
    limits_.Ended("anna", false, now_);
    limits_.Ended("anna", false, now_);
    EXPECT_EQ(Begin("anna"), "locked-out 60");
    now_ += seconds(60);
    EXPECT_EQ(Begin("anna"), "");
    EXPECT_EQ(Begin("anna"), "too-many 1");
}

TEST_F(LoginLimitsTest, ADroppedTryIsNoWrongPassword) {
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Begin("anna"), "");
        limits_.Dropped("anna");
    }
}

TEST_F(LoginLimitsTest, NineAreUnderWayInAll) {
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(Begin("user " + std::to_string(i)), "");
    }
    EXPECT_EQ(Begin("anna"), "too-many 1");
    limits_.Dropped("user 3");
    EXPECT_EQ(Begin("anna"), "");
    EXPECT_EQ(Begin("otto"), "too-many 1");
    limits_.Ended("user 4", true, now_);
    EXPECT_EQ(Begin("otto"), "");
}

// Right passwords, so that no name is locked out.
TEST_F(LoginLimitsTest, ANetworkHasTenTriesAndOneMoreEverySixSeconds) {
    const auto tryFrom = [this](const std::string& address) {
        std::string refusal = Begin("anna", address);
        if (refusal.empty()) {
            limits_.Ended("anna", true, now_);
        }
        return refusal;
    };
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(tryFrom("192.0.2.7"), "");
    }
    EXPECT_EQ(tryFrom("192.0.2.7"), "too-many 6");
    EXPECT_EQ(tryFrom("192.0.2.8"), "");
    now_ += milliseconds(5001);
    EXPECT_EQ(tryFrom("192.0.2.7"), "too-many 1");
    now_ += milliseconds(999);
    EXPECT_EQ(tryFrom("192.0.2.7"), "");
    EXPECT_EQ(tryFrom("192.0.2.7"), "too-many 6");
    now_ += seconds(60);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(tryFrom("192.0.2.7"), "");
    }
    EXPECT_EQ(tryFrom("192.0.2.7"), "too-many 6");
}

TEST_F(LoginLimitsTest, AnIpv6NetworkIsOne) {
    for (int i = 0; i < 10; ++i) {
        const std::string name = "user " + std::to_string(i);
        EXPECT_EQ(Begin(name, "2001:db8::" + std::to_string(i)), "");
        limits_.Dropped(name);
    }
    EXPECT_EQ(Begin("anna", "2001:db8::1:2:3:4"), "too-many 6");
    EXPECT_EQ(Begin("anna", "2001:db8:0:1::1"), "");
}

TEST_F(LoginLimitsTest, WhoIsLockedOutTakesNoTryOfTheNetwork) {
    TryWrong("anna", 5);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Begin("anna", "192.0.2.7"), "locked-out 60");
    }
    EXPECT_EQ(Begin("otto", "192.0.2.7"), "");
}

TEST_F(LoginLimitsTest, InventedNamesDoNotMakeOthersForgotten) {
    TryWrong("locked", 5);
    TryWrong("guessed", 4);
    for (int i = 0; i < 20000; ++i) {
        now_ += milliseconds(1);
        ASSERT_EQ(Try("invented " + std::to_string(i), false), "") << i;
    }
    EXPECT_EQ(Begin("locked"), "locked-out 40");
    EXPECT_EQ(Try("guessed", false), "");
    EXPECT_EQ(Begin("guessed"), "locked-out 60");
}

// Whose lock-out is over still has its wrong passwords counted.
TEST_F(LoginLimitsTest, InventedNamesDoNotShortenTheNextLockOut) {
    TryWrong("anna", 5);
    now_ += seconds(61);
    for (int i = 0; i < 20000; ++i) {
        ASSERT_EQ(Try("invented " + std::to_string(i), false), "") << i;
    }
    EXPECT_EQ(Try("anna", false), "");
    EXPECT_EQ(Begin("anna"), "locked-out 120");
}

TEST(LockOuts, HasNoRoomWhileAllNamesAreLockedOut) {
    LockOuts names;
    const auto lock = [&](const std::string& name) {
        for (int i = 0; i < LockOuts::kWrongInARow; ++i) {
            ASSERT_TRUE(names.Begin(name, kStart));
            names.Ended(name, false, kStart);
        }
    };
    for (std::size_t i = 1; i < LockOuts::kMost; ++i) {
        lock("user " + std::to_string(i));
    }
    EXPECT_TRUE(names.Begin("under way", kStart));
    EXPECT_FALSE(names.Begin("anna", kStart));
    EXPECT_TRUE(names.Begin("under way", kStart));
    EXPECT_FALSE(names.Begin("anna", kStart + milliseconds(59999)));
    EXPECT_TRUE(names.Begin("anna", kStart + seconds(60)));
}

TEST(LockOuts, ForgetsNamesWithoutWrongPasswords) {
    LockOuts names;
    for (std::size_t i = 0; i < 2 * LockOuts::kMost; ++i) {
        const std::string name = "user " + std::to_string(i);
        ASSERT_TRUE(names.Begin(name, kStart));
        i % 2 == 0 ? names.Dropped(name) : names.Ended(name, true, kStart);
    }
    EXPECT_TRUE(names.Begin("anna", kStart));
}

TEST(TryRates, RemembersTenThousandNetworks) {
    TryRates rates;
    for (int i = 0; i < TryRates::kAtOnce; ++i) {
        EXPECT_FALSE(rates.Take("used up", kStart));
    }
    for (int i = 0; i < 20000; ++i) {
        EXPECT_FALSE(rates.Take(AddressOf(i), kStart));
    }
    EXPECT_EQ(rates.Count(), TryRates::kMost);
    EXPECT_EQ(rates.Take("used up", kStart), kStart + seconds(6));
    EXPECT_FALSE(rates.Take("later", kStart + minutes(1)));
    EXPECT_EQ(rates.Count(), 1U);
}

}  // namespace
}  // namespace MuxProxy
