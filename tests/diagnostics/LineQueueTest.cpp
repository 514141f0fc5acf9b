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

TEST_F(LineQueueTest, ALineThatIsTakenInPartsLeavesAndCountsWithItsLastByte) {
    EXPECT_TRUE(LineQueue().IsEmpty());
    queue_.Take(2);
    EXPECT_EQ(queue_.Rest(), "rst\n");
    queue_.Take(0);
    queue_.Take(3);
    EXPECT_EQ(queue_.Rest(), "\n");
    EXPECT_EQ(queue_.Bytes(), 13u);
    EXPECT_EQ(queue_.LinesTaken(), 0u);
    queue_.Take(1);
    EXPECT_EQ(queue_.Rest(), "second\n");
    EXPECT_EQ(queue_.Bytes(), 7u);
    EXPECT_EQ(queue_.LinesTaken(), 1u);
    EXPECT_FALSE(queue_.IsEmpty());
    queue_.Take(7);
    EXPECT_TRUE(queue_.IsEmpty());
    queue_.Append("third\n");
    EXPECT_EQ(queue_.LinesAppended(), 3u);
    EXPECT_EQ(queue_.LinesTaken(), 2u);
}

TEST_F(LineQueueTest, ALineThatIsRestartedIsWholeAgain) {
    queue_.Take(2);
    queue_.RestartLine();
    EXPECT_EQ(queue_.Rest(), "first\n");
    queue_.Take(6);
    EXPECT_EQ(queue_.Rest(), "second\n");
}

TEST_F(LineQueueTest, RemembersTheMostThatItHeldUntilItIsAsked) {
    queue_.Take(6);
    EXPECT_EQ(queue_.TakeMostBytes(), 13u);
    EXPECT_EQ(queue_.TakeMostBytes(), 0u);
    queue_.Append("third\n");
    EXPECT_EQ(queue_.TakeMostBytes(), 13u);
}

}  // namespace
}  // namespace Diagnostics
