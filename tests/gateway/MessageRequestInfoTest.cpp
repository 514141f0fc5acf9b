#include "gateway/RequestQueue.h"

#include <gtest/gtest.h>

#include "messages/BrenkMessageBuilder.h"
#include "tests/support/CapturedLog.h"

namespace Brenk {
namespace {

using Testing::CapturedLog;

constexpr const char* kFreedText = "Internal request message set. Deallocate message memory.";

TEST(MessageRequestInfo, ANewRecordIsEmpty) {
    const MessageRequestInfo request;
    EXPECT_EQ(request.enqueueTime, 0);
    EXPECT_EQ(request.sendTime, 0);
    EXPECT_EQ(request.referenceID, 0);
    EXPECT_EQ(request.id, "");
    EXPECT_EQ(request.message, nullptr);
    EXPECT_EQ(request.context, nullptr);
}

TEST(MessageRequestInfo, FreesItsMessageWithALineAndLeavesTheContextAlone) {
    const CapturedLog log;
    int context = 7;
    {
        MessageRequestInfo request;
        request.message = Messages::BrenkMessageBuilder(0, 1).BuildGetStatus(5);
        request.context = &context;
    }
    EXPECT_EQ(log.Count(plog::verbose, kFreedText), 1);
    EXPECT_EQ(context, 7);
}

TEST(MessageRequestInfo, WithoutAMessageThereIsNoLine) {
    const CapturedLog log;
    { const MessageRequestInfo request; }
    EXPECT_EQ(log.Count(plog::verbose, kFreedText), 0);
}

TEST(MessageRequestInfo, AnIDWithTheMarkAnywhereInItIsThatOfASequenceRefresh) {
    EXPECT_TRUE(MessageRequestInfo::IsSequenceRefresh("requestNewSEQID-1700000000"));
    EXPECT_TRUE(MessageRequestInfo::IsSequenceRefresh("a client's requestNewSEQID- in the middle"));
    EXPECT_FALSE(MessageRequestInfo::IsSequenceRefresh("requestNewSEQID"));
    EXPECT_FALSE(MessageRequestInfo::IsSequenceRefresh("requestnewseqid-1"));
    EXPECT_FALSE(MessageRequestInfo::IsSequenceRefresh(""));
}

}  // namespace
}  // namespace Brenk
