#include "diagnostics/LineQueue.h"

#include <gtest/gtest.h>

namespace Diagnostics {
namespace {

class LineQueueTest : public testing::Test {
  protected:
    LineQueueTest() {
        queue_.Append("first\n");
        queue_.Append("second\n");
    }

    LineQueue queue_;
};

TEST_F(LineQueueTest, ANewOneIsEmpty) {
    const LineQueue queue;
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_EQ(queue.Bytes(), 0u);
    EXPECT_FALSE(queue_.IsEmpty());
}

TEST_F(LineQueueTest, HandsLinesOutInTheirOrder) {
    EXPECT_EQ(queue_.Rest(), "first\n");
    queue_.Take(6);
    EXPECT_EQ(queue_.Rest(), "second\n");
    queue_.Take(7);
    EXPECT_TRUE(queue_.IsEmpty());
}

TEST_F(LineQueueTest, ALineThatIsTakenInPartsLeavesWithItsLastByte) {
    queue_.Take(2);
    EXPECT_EQ(queue_.Rest(), "rst\n");
    queue_.Take(0);
    queue_.Take(3);
    EXPECT_EQ(queue_.Rest(), "\n");
    EXPECT_EQ(queue_.LinesTaken(), 0u);
    queue_.Take(1);
    EXPECT_EQ(queue_.Rest(), "second\n");
    EXPECT_EQ(queue_.LinesTaken(), 1u);
}

TEST_F(LineQueueTest, ALineThatIsRestartedIsWholeAgain) {
    queue_.Take(2);
    queue_.RestartLine();
    EXPECT_EQ(queue_.Rest(), "first\n");
    queue_.Take(6);
    EXPECT_EQ(queue_.Rest(), "second\n");
}

TEST_F(LineQueueTest, ALineCountsWithAllItsBytesUntilItLeaves) {
    EXPECT_EQ(queue_.Bytes(), 13u);
    queue_.Take(5);
    EXPECT_EQ(queue_.Bytes(), 13u);
    queue_.Take(1);
    EXPECT_EQ(queue_.Bytes(), 7u);
}

TEST_F(LineQueueTest, RemembersTheMostThatItHeldUntilItIsAsked) {
    queue_.Take(6);
    EXPECT_EQ(queue_.TakeMostBytes(), 13u);
    EXPECT_EQ(queue_.TakeMostBytes(), 0u);
    queue_.Append("third\n");
    EXPECT_EQ(queue_.TakeMostBytes(), 13u);
}

TEST_F(LineQueueTest, CountsItsLinesFromTheBeginningOn) {
    queue_.Take(6);
    queue_.Take(7);
    queue_.Append("third\n");
    EXPECT_EQ(queue_.LinesAppended(), 3u);
    EXPECT_EQ(queue_.LinesTaken(), 2u);
}

}  // namespace
}  // namespace Diagnostics
