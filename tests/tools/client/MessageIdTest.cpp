#include "tools/client/MessageId.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace MuxClient {
namespace {

TEST(MessageIdTest, IsAUuidInLowerCase) {
    EXPECT_THAT(NewMessageId(), testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}"));
}

TEST(MessageIdTest, IsAnotherOneEachTime) {
    std::set<std::string> ids;
    for (int count = 0; count < 1000; ++count) {
        ids.insert(NewMessageId());
    }
    EXPECT_EQ(ids.size(), 1000U);
}

}  // namespace
}  // namespace MuxClient
