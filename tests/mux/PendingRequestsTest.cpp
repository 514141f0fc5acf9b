#include "mux/PendingRequests.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/support/CapturedLog.h"

namespace Mux {
namespace {

RecordPointer RequestWithID(const std::string& messageID, int descriptor) {
    return std::make_unique<MuxRequestRecord>(Brenk::Net::ClientIdentity{descriptor, 1},
                                              std::make_shared<MuxMessage>(0, messageID, 10, MuxMessageData()));
}

class PendingRequestsTest : public testing::Test {
  protected:
    // Adds a request and returns what it was added as.
    const MuxRequestRecord* Add(const std::string& messageID, int descriptor) {
        RecordPointer record = RequestWithID(messageID, descriptor);
        const MuxRequestRecord* const added = record.get();
        EXPECT_TRUE(pending.Add(record));
        EXPECT_EQ(record, nullptr);
        return added;
    }

    PendingRequests pending{"testPendingMutex"};
};

TEST_F(PendingRequestsTest, GivesEachRequestOutOnceByItsID) {
    Add("a", 1);
    Add("b", 2);
    EXPECT_EQ(pending.Count(), 2U);
    const RecordPointer taken = pending.Take("b");
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(taken->socketFD, 2);
    EXPECT_EQ(pending.Take("b"), nullptr);
    EXPECT_EQ(pending.Count(), 1U);
}

TEST_F(PendingRequestsTest, HasNoneOfAnIDThatWasNotAdded) {
    Add("a", 1);
    EXPECT_EQ(pending.Take("A"), nullptr);
    EXPECT_EQ(pending.Take(""), nullptr);
    EXPECT_EQ(pending.Count(), 1U);
}

TEST_F(PendingRequestsTest, KeepsTheFirstOfTheSameID) {
    Add("a", 1);
    RecordPointer second = RequestWithID("a", 2);
    EXPECT_FALSE(pending.Add(second));
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->socketFD, 2);
    EXPECT_EQ(pending.Take("a")->socketFD, 1);
}

TEST_F(PendingRequestsTest, GivesBackWhatWasAdded) {
    const MuxRequestRecord* const added = Add("a", 1);
    const RecordPointer back = pending.TakeBack(added, "a");
    EXPECT_EQ(back.get(), added);
    EXPECT_EQ(pending.Count(), 0U);
}

TEST_F(PendingRequestsTest, DoesNotGiveBackWhatHasEndedMeanwhile) {
    const MuxRequestRecord* const added = Add("a", 1);
    const RecordPointer ended = pending.Take("a");
    EXPECT_EQ(pending.TakeBack(added, "a"), nullptr);
}

TEST_F(PendingRequestsTest, DoesNotGiveBackANewcomerOfTheSameID) {
    const MuxRequestRecord* const added = Add("a", 1);
    const RecordPointer ended = pending.Take("a");
    Add("a", 2);
    EXPECT_EQ(pending.TakeBack(added, "a"), nullptr);
    EXPECT_EQ(pending.Count(), 1U);
}

TEST_F(PendingRequestsTest, HasGuardsOfTheMutexThatItIsNamedFor) {
    const Testing::CapturedLog log;
    EXPECT_TRUE(pending.NewGuard().Lock());
    pending.DestroyMutex();
    EXPECT_NE(log.Text().find("Mutex testPendingMutex destroyed."), std::string::npos);
}

}  // namespace
}  // namespace Mux
