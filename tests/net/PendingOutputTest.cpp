#include "net/PendingOutput.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/support/Threads.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Bytes = std::vector<unsigned char>;
using Clock = PendingOutput::Clock;

constexpr std::size_t kMebibyte = 1048576;

// What a client has beside the budget of all.
constexpr std::size_t kOwn = 16384;

class PendingOutputTest : public testing::Test {
  protected:
    bool Append(const Bytes& bytes, Clock::time_point now = kStart) {
        return output_.Append(bytes.data(), bytes.size(), now);
    }

    // Removes so many bytes at most and returns them.
    Bytes Take(std::size_t count, Clock::time_point now = kStart) {
        Bytes taken;
        while (taken.size() < count && !output_.IsEmpty()) {
            const PendingOutput::Piece piece = output_.Front();
            const std::size_t part = std::min(piece.count, count - taken.size());
            taken.insert(taken.end(), piece.bytes, piece.bytes + part);
            output_.RemoveFront(part, now);
        }
        return taken;
    }

    // Of a period that is no divisor of a block's size.
    static Bytes Numbered(std::size_t count) {
        Bytes bytes(count);
        for (std::size_t index = 0; index < count; ++index) {
            bytes.at(index) = static_cast<unsigned char>(index % 251);
        }
        return bytes;
    }

    static constexpr Clock::time_point kStart{seconds(1000)};

    OutputBudget budget_;
    PendingOutput output_{budget_};
};

TEST_F(PendingOutputTest, GivesTheBytesInTheirOrderHoweverTheyCameAndGo) {
    const Bytes all = Numbered(300000);
    std::size_t added = 0;
    Bytes taken;
    for (std::size_t step = 1; taken.size() < all.size(); ++step) {
        const std::size_t count = std::min(all.size() - added, step * 7919 % 50021);
        ASSERT_TRUE(output_.Append(all.data() + added, count, kStart));
        added += count;
        const Bytes part = Take(step * 104729 % 40009);
        taken.insert(taken.end(), part.begin(), part.end());
        ASSERT_EQ(output_.Size(), added - taken.size());
        ASSERT_EQ(budget_.Used(), output_.Size() < kOwn ? 0 : output_.Size() - kOwn);
    }
    EXPECT_EQ(taken, all);
    EXPECT_TRUE(output_.IsEmpty());
    EXPECT_EQ(output_.Front().count, 0U);
}

TEST_F(PendingOutputTest, HoldsAMebibyteAndTakesAllOfABufferOrNothing) {
    EXPECT_TRUE(Append(Bytes(kMebibyte - 10)));
    EXPECT_FALSE(Append(Bytes(11)));
    EXPECT_EQ(output_.Size(), kMebibyte - 10);
    EXPECT_TRUE(Append(Bytes(10)));
    EXPECT_FALSE(Append(Bytes(1)));
    EXPECT_EQ(budget_.Used(), kMebibyte - kOwn);
    EXPECT_EQ(Take(2 * kMebibyte).size(), kMebibyte);
    EXPECT_FALSE(Append(Bytes(kMebibyte + 1)));
    EXPECT_TRUE(Append(Bytes(kMebibyte)));
}

TEST_F(PendingOutputTest, IsTooLateWhenNothingIsTakenFor2Seconds) {
    Append(Bytes(100));
    EXPECT_EQ(output_.Deadline(), kStart + seconds(2));
    Append(Bytes(100), kStart + seconds(1));
    EXPECT_EQ(output_.Deadline(), kStart + seconds(2)) << "more to take is no progress";
    Take(1, kStart + milliseconds(1500));
    EXPECT_EQ(output_.Deadline(), kStart + milliseconds(3500));
}

TEST_F(PendingOutputTest, HasAnother10SecondsForEachMebibyteThatWasTaken) {
    Append(Bytes(kMebibyte));
    for (int second = 1; second <= 20; ++second) {
        const auto now = kStart + seconds(second);
        EXPECT_EQ(Take(kMebibyte / 8, now).size(), kMebibyte / 8);
        EXPECT_TRUE(Append(Bytes(kMebibyte / 8), now));
        EXPECT_GT(output_.Deadline(), now + milliseconds(1999));
    }
    // The last began when the second mebibyte had been taken.
    Take(1, kStart + seconds(22));
    Take(1, kStart + seconds(25));
    EXPECT_EQ(output_.Deadline(), kStart + seconds(26));
}

// Nobody has looked at it in between, or it would have been too late: this process was stopped.
TEST_F(PendingOutputTest, HasAnother10SecondsWhenNothingCouldBeTakenForMoreThan4) {
    Append(Bytes(kMebibyte));
    Take(1, kStart + seconds(1));
    Take(1, kStart + seconds(9));
    for (int second = 10; second <= 18; ++second) {
        Take(1, kStart + seconds(second));
    }
    EXPECT_EQ(output_.Deadline(), kStart + seconds(19));
}

TEST_F(PendingOutputTest, BeginsItsTimesAnewWhenItHasBeenEmpty) {
    Append(Bytes(100));
    Take(100, kStart + seconds(1));
    EXPECT_EQ(output_.Deadline(), Clock::time_point::max());
    Append(Bytes(kMebibyte), kStart + seconds(60));
    EXPECT_EQ(output_.Deadline(), kStart + seconds(62));
    for (int second = 61; second <= 69; ++second) {
        Take(1, kStart + seconds(second));
    }
    EXPECT_EQ(output_.Deadline(), kStart + seconds(70));
}

TEST_F(PendingOutputTest, GivesItsShareOfTheBudgetBackWhenItIsClearedAndWithItself) {
    auto other = std::make_unique<PendingOutput>(budget_);
    const Bytes bytes(40000);
    ASSERT_TRUE(other->Append(bytes.data(), bytes.size(), kStart));
    ASSERT_TRUE(Append(bytes));
    other->RemoveFront(10, kStart);
    EXPECT_EQ(budget_.Used(), 47222U);
    output_.Clear();
    EXPECT_TRUE(output_.IsEmpty());
    EXPECT_EQ(output_.Front().count, 0U);
    EXPECT_EQ(budget_.Used(), 23606U);
    other.reset();
    EXPECT_EQ(budget_.Used(), 0U);
}

TEST_F(PendingOutputTest, TakesNothingBeyondTheBudgetOfAll) {
    OutputBudget small(100);
    PendingOutput first(small);
    PendingOutput second(small);
    const Bytes bytes(kOwn + 61);
    EXPECT_TRUE(first.Append(bytes.data(), bytes.size(), kStart));
    EXPECT_FALSE(second.Append(bytes.data(), bytes.size(), kStart));
    EXPECT_TRUE(second.IsEmpty());
    EXPECT_TRUE(second.Append(bytes.data(), kOwn + 39, kStart));
    EXPECT_FALSE(first.Append(bytes.data(), 1, kStart));
    first.RemoveFront(1, kStart);
    EXPECT_TRUE(second.Append(bytes.data(), 1, kStart));
}

TEST_F(PendingOutputTest, HasItsFirst16KibibytesWhateverOthersHaveLeftOfTheBudget) {
    ASSERT_TRUE(budget_.Take(16 * kMebibyte));
    EXPECT_TRUE(Append(Bytes(kOwn)));
    EXPECT_FALSE(Append(Bytes(1)));
    EXPECT_EQ(Take(kMebibyte).size(), kOwn);
    EXPECT_EQ(budget_.Used(), 16 * kMebibyte);
}

TEST(OutputBudgetTest, KnowsTheMostThatWasUsedSinceItWasAsked) {
    OutputBudget budget(100);
    EXPECT_EQ(budget.TakePeak(), 0U);
    budget.Take(30);
    budget.Take(40);
    EXPECT_FALSE(budget.Take(50));
    budget.GiveBack(60);
    EXPECT_EQ(budget.TakePeak(), 70U);
    EXPECT_EQ(budget.TakePeak(), 10U);
}

TEST(OutputBudgetTest, IsNeverOverdrawnByThreadsThatTakeAtTheSameTime) {
    OutputBudget budget(1000);
    Testing::OnThreads(4, [&budget](int) {
        for (int round = 0; round < 20000; ++round) {
            if (budget.Take(300)) {
                EXPECT_LE(budget.Used(), 900U);
                budget.GiveBack(300);
            }
        }
    });
    EXPECT_EQ(budget.Used(), 0U);
}

}  // namespace
}  // namespace Brenk::Net
