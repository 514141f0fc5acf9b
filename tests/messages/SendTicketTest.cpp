#include "messages/BrenkMessageBuilder.h"

#include <gtest/gtest.h>

#include <limits>

namespace Brenk::Messages {
namespace {

TEST(SendTicket, RemembersHowManyCountersHadBeenAnnounced) {
    EXPECT_EQ(SendTicket(0).Announcements(), 0U);
    EXPECT_EQ(SendTicket(5).Announcements(), 5U);
    constexpr auto kHighest = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(SendTicket(kHighest).Announcements(), kHighest);
}

TEST(SendTicket, ABuilderCountsTheAnnouncementsThatCameBeforeTheSendAndNothingElse) {
    BrenkMessageBuilder builder(41, 5);
    EXPECT_EQ(builder.BeginSend().Announcements(), 0U);
    builder.StoreSequenceCounter(256);
    builder.StoreSequenceCounter(256);
    EXPECT_EQ(builder.BeginSend().Announcements(), 2U);
    builder.AdvanceAfterSend(builder.BeginSend());
    builder.IncrementSequenceCounter();
    EXPECT_EQ(builder.BeginSend().Announcements(), 2U);
}

TEST(SendTicket, OfAnEarlierMomentStaysAsItWas) {
    BrenkMessageBuilder builder(41, 5);
    const SendTicket ticket = builder.BeginSend();
    builder.StoreSequenceCounter(256);
    EXPECT_EQ(ticket.Announcements(), 0U);
}

}  // namespace
}  // namespace Brenk::Messages
