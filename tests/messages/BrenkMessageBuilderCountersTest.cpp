#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <utility>

#include "messages/BrenkMessageBuilder.h"
#include "tests/support/Threads.h"

namespace Brenk::Messages {
namespace {

TEST(Counters, TheReferenceIDRunsFrom1To63AndBackTo1) {
    BrenkMessageBuilder builder(0, 1);
    for (int expected = 1; expected <= 63; ++expected) {
        EXPECT_EQ(builder.ReferenceID(), expected);
        builder.IncrementReferenceID();
    }
    EXPECT_EQ(builder.ReferenceID(), 1);
}

TEST(Counters, AReferenceIDOutsideThatRangeComesBackToIt) {
    const std::pair<std::uint8_t, std::uint8_t> following[] = {{0, 1}, {64, 1}, {255, 0}};
    for (const auto& [before, after] : following) {
        BrenkMessageBuilder builder(41, before);
        builder.IncrementReferenceID();
        EXPECT_EQ(builder.ReferenceID(), after);
        EXPECT_EQ(builder.SequenceCounter(), 41U);
    }
}

TEST(Counters, TheSequenceCounterWrapsFrom32BitsTo0AndLeavesTheReferenceID) {
    BrenkMessageBuilder builder(0xFFFFFFFE, 5);
    builder.IncrementSequenceCounter();
    EXPECT_EQ(builder.SequenceCounter(), 0xFFFFFFFFU);
    builder.IncrementSequenceCounter();
    EXPECT_EQ(builder.SequenceCounter(), 0U);
    EXPECT_EQ(builder.ReferenceID(), 5);
}

TEST(AdvanceAfterSend, AdvancesBothCountersAndWrapsThem) {
    BrenkMessageBuilder builder(0xFFFFFFFF, 63);
    builder.AdvanceAfterSend(builder.BeginSend());
    EXPECT_EQ(builder.SequenceCounter(), 0U);
    EXPECT_EQ(builder.ReferenceID(), 1);
}

TEST(AdvanceAfterSend, LeavesACounterThatWasAnnouncedDuringTheSendAndStillAdvancesTheReferenceID) {
    BrenkMessageBuilder builder(41, 5);
    const SendTicket ticket = builder.BeginSend();
    builder.StoreSequenceCounter(256);
    builder.StoreSequenceCounter(512);
    builder.AdvanceAfterSend(ticket);
    EXPECT_EQ(builder.SequenceCounter(), 512U);
    EXPECT_EQ(builder.ReferenceID(), 6);
    EXPECT_EQ(builder.BuildGetStatus(1)->SequenceCounter(), 513U);
}

TEST(AdvanceAfterSend, LeavesAnAnnouncedCounterEvenWhenItEqualsTheOldOne) {
    BrenkMessageBuilder builder(41, 5);
    const SendTicket ticket = builder.BeginSend();
    builder.StoreSequenceCounter(41);
    builder.AdvanceAfterSend(ticket);
    EXPECT_EQ(builder.SequenceCounter(), 41U);
}

TEST(AdvanceAfterSend, AdvancesACounterThatWasAnnouncedBeforeTheSend) {
    BrenkMessageBuilder builder(41, 5);
    builder.StoreSequenceCounter(256);
    builder.AdvanceAfterSend(builder.BeginSend());
    EXPECT_EQ(builder.SequenceCounter(), 257U);
}

// The answer comes on another thread while the sender is on its way to AdvanceAfterSend: in every other round before
// it, in the others at any moment. Whichever of the two is first, what the gateway announced must stand in the end.
TEST(AdvanceAfterSend, NeverOverwritesAnAnnouncementThatAnotherThreadMakesDuringTheSend) {
    constexpr std::uint32_t kRounds = 5000;
    BrenkMessageBuilder builder(0, 1);
    std::atomic<std::uint32_t> sent{0};
    std::atomic<std::uint32_t> announced{0};

    const auto waitUntilReached = [](const std::atomic<std::uint32_t>& reached, std::uint32_t round) {
        while (reached.load() < round) {
            std::this_thread::yield();
        }
    };

    std::thread gateway([&] {
        for (std::uint32_t round = 1; round <= kRounds; ++round) {
            waitUntilReached(sent, round);
            builder.StoreSequenceCounter(round * 1000);
            announced.store(round);
        }
    });
    std::uint32_t overwritten = 0;
    for (std::uint32_t round = 1; round <= kRounds; ++round) {
        const SendTicket ticket = builder.BeginSend();
        sent.store(round);
        if (round % 2 == 0) {
            waitUntilReached(announced, round);
        }
        builder.AdvanceAfterSend(ticket);
        waitUntilReached(announced, round);
        overwritten += builder.SequenceCounter() == round * 1000 ? 0 : 1;
    }
    gateway.join();

    EXPECT_EQ(overwritten, 0U);
    EXPECT_EQ(builder.ReferenceID(), 1 + kRounds % 63);
}

// Both counters move together, so that reference ID = 1 + sequence counter modulo 63 at every moment.
TEST(Counters, ThePairOnAFrameIsOfOneMomentWhileAnotherThreadAdvances) {
    constexpr int kSends = 5000;
    BrenkMessageBuilder builder(0, 1);
    std::atomic<bool> sending{true};

    std::thread sender([&] {
        for (int send = 0; send < kSends; ++send) {
            builder.AdvanceAfterSend(builder.BeginSend());
        }
        sending.store(false);
    });
    int torn = 0;
    do {
        const std::unique_ptr<BrenkMessage> message = builder.BuildGetStatus(1);
        const std::uint32_t sequenceCounter = message->SequenceCounter() - 1;
        torn += message->ReferenceID() == 1 + sequenceCounter % 63 ? 0 : 1;
    } while (sending.load());
    sender.join();

    EXPECT_EQ(torn, 0);
    EXPECT_EQ(builder.SequenceCounter(), static_cast<std::uint32_t>(kSends));
}

TEST(Counters, NoAdvanceIsLostBetweenThreads) {
    constexpr int kThreads = 4;
    constexpr int kIncrements = 2000;
    BrenkMessageBuilder builder(0, 1);
    Testing::OnThreads(kThreads, [&builder](int) {
        for (int increment = 0; increment < kIncrements; ++increment) {
            builder.IncrementSequenceCounter();
            builder.IncrementReferenceID();
        }
    });
    EXPECT_EQ(builder.SequenceCounter(), static_cast<std::uint32_t>(kThreads * kIncrements));
    EXPECT_EQ(builder.ReferenceID(), 1 + kThreads * kIncrements % 63);
}

}  // namespace
}  // namespace Brenk::Messages
