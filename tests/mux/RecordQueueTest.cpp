#include "mux/RecordQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "tests/support/CapturedLog.h"

namespace Mux {
namespace {

RecordPointer RecordOfClient(int descriptor) {
    return std::make_unique<MuxRequestRecord>(Brenk::Net::ClientIdentity{descriptor, 1}, nullptr);
}

class RecordQueueTest : public testing::Test {
  protected:
    RecordQueue queue{"testQueueMutex"};
};

TEST_F(RecordQueueTest, IsEmptyAtFirst) {
    EXPECT_EQ(queue.Count(), 0U);
    EXPECT_EQ(queue.Take(), nullptr);
    EXPECT_FALSE(queue.Head().has_value());
}

TEST_F(RecordQueueTest, GivesRecordsOutInTheOrderInWhichTheyCame) {
    EXPECT_EQ(queue.Push(RecordOfClient(1)), 1U);
    EXPECT_EQ(queue.Push(RecordOfClient(2)), 2U);
    EXPECT_EQ(queue.Push(RecordOfClient(3)), 3U);
    for (const int descriptor : {1, 2, 3}) {
        const RecordPointer record = queue.Take();
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->socketFD, descriptor);
    }
    EXPECT_EQ(queue.Take(), nullptr);
}

TEST_F(RecordQueueTest, KeepsTheHeadThatIsLookedAt) {
    queue.Push(RecordOfClient(1));
    const auto head = queue.Head();
    queue.Push(RecordOfClient(2));
    ASSERT_TRUE(head.has_value());
    EXPECT_EQ(queue.Head(), head);
    EXPECT_EQ((*head)->socketFD, 1);
    EXPECT_EQ(queue.Count(), 2U);
}

TEST_F(RecordQueueTest, DropsTheHeadAlone) {
    auto message = std::make_shared<MuxMessage>(0, "m1", 10, MuxMessageData());
    const std::weak_ptr<MuxMessage> observed = message;
    queue.Push(std::make_unique<MuxRequestRecord>(Brenk::Net::ClientIdentity{1, 1}, std::move(message)));
    queue.Push(RecordOfClient(2));
    queue.DropHead();
    EXPECT_TRUE(observed.expired());
    EXPECT_EQ(queue.Count(), 1U);
    EXPECT_EQ(queue.Take()->socketFD, 2);
}

TEST_F(RecordQueueTest, TellsANullHeadFromNone) {
    queue.Push(nullptr);
    ASSERT_TRUE(queue.Head().has_value());
    EXPECT_EQ(*queue.Head(), nullptr);
    queue.DropHead();
    EXPECT_FALSE(queue.Head().has_value());
}

TEST_F(RecordQueueTest, LosesNothingThatSeveralThreadsPush) {
    constexpr int kRecords = 1000;
    std::thread first([this] {
        for (int index = 0; index < kRecords; ++index) {
            queue.Push(RecordOfClient(1));
        }
    });
    std::thread second([this] {
        for (int index = 0; index < kRecords; ++index) {
            queue.Push(RecordOfClient(2));
        }
    });
    int taken = 0;
    while (taken < kRecords) {
        taken += queue.Take() != nullptr ? 1 : 0;
    }
    first.join();
    second.join();
    EXPECT_EQ(queue.Count(), std::size_t{2} * kRecords - static_cast<std::size_t>(taken));
}

TEST_F(RecordQueueTest, HasGuardsOfTheMutexThatItIsNamedFor) {
    const Testing::CapturedLog log;
    EXPECT_TRUE(queue.NewGuard().Lock());
    queue.DestroyMutex();
    EXPECT_NE(log.Text().find("Mutex testQueueMutex destroyed."), std::string::npos);
}

}  // namespace
}  // namespace Mux
