#include "mux/RecordQueue.h"

#include <gtest/gtest.h>

#include "tests/mux/TestMux.h"

using Testing::RecordFor;

namespace Mux {
namespace {

class RecordQueueTest : public testing::Test {
  protected:
    RecordQueue queue{"testQueueMutex"};
};

TEST_F(RecordQueueTest, GivesRecordsOutInTheOrderInWhichTheyCame) {
    for (const int descriptor : {1, 2, 3}) {
        EXPECT_EQ(queue.Push(RecordFor(descriptor)), static_cast<std::size_t>(descriptor));
    }
    for (const int descriptor : {1, 2, 3}) {
        const RecordPointer record = queue.Take();
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->socketFD, descriptor);
    }
    EXPECT_EQ(queue.Take(), nullptr);
}

TEST_F(RecordQueueTest, KeepsTheHeadThatIsLookedAtAndDropsItAlone) {
    queue.Push(RecordFor(1));
    const auto head = queue.Head();
    queue.Push(RecordFor(2));
    ASSERT_TRUE(head.has_value());
    EXPECT_EQ(queue.Head(), head);
    EXPECT_EQ((*head)->socketFD, 1);
    queue.DropHead();
    EXPECT_EQ(queue.Count(), 1U);
    EXPECT_EQ(queue.Take()->socketFD, 2);
}

TEST_F(RecordQueueTest, TellsANullHeadFromNone) {
    EXPECT_FALSE(queue.Head().has_value());
    queue.Push(nullptr);
    ASSERT_TRUE(queue.Head().has_value());
    EXPECT_EQ(*queue.Head(), nullptr);
    queue.DropHead();
    EXPECT_FALSE(queue.Head().has_value());
}

}  // namespace
}  // namespace Mux
