#include "gateway/RequestQueue.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>

#include "gateway/WaitingRequests.h"
#include "messages/BrenkMessageBuilder.h"
#include "tests/support/CapturedLog.h"

namespace Testing {
namespace {

using Brenk::CONNECTED;
using Brenk::CREATED;
using Brenk::DISCONNECTED;
using Brenk::FAULTED;
using Brenk::MessageRequestInfo;
using Brenk::NOT_PRESENT;
using Brenk::READY;
using Brenk::RequestQueue;
using Brenk::VirtualGatewayStatuses;
using Brenk::WaitingRequests;

RequestQueue::Request RequestWith(const std::string& id, std::uint8_t referenceID = 5) {
    auto request = std::make_shared<MessageRequestInfo>();
    request->referenceID = referenceID;
    request->id = id;
    return request;
}

TEST(MessageRequestInfo, FreesItsMessageWithALine) {
    constexpr const char* kFreedText = "Internal request message set. Deallocate message memory.";
    const CapturedLog log;
    { const MessageRequestInfo empty; }
    EXPECT_EQ(log.Count(plog::verbose, kFreedText), 0);
    RequestWith("1")->message = Brenk::Messages::BrenkMessageBuilder(0, 1).BuildGetStatus(5);
    EXPECT_EQ(log.Count(plog::verbose, kFreedText), 1);
}

TEST(MessageRequestInfo, AnIDWithTheMarkAnywhereInItIsThatOfASequenceRefresh) {
    EXPECT_TRUE(MessageRequestInfo::IsSequenceRefresh("requestNewSEQID-1700000000"));
    EXPECT_TRUE(MessageRequestInfo::IsSequenceRefresh("a client's requestNewSEQID- in the middle"));
    EXPECT_FALSE(MessageRequestInfo::IsSequenceRefresh("requestNewSEQID"));
    EXPECT_FALSE(MessageRequestInfo::IsSequenceRefresh("requestnewseqid-1"));
}

class RequestQueueTest : public ::testing::Test {
  protected:
    void Append(const std::string& id) {
        std::list<RequestQueue::Request> built = {RequestWith(id)};
        queue_.Append(built);
        EXPECT_TRUE(built.empty());
    }

    // The ID of the request that is taken, "none" when there is none.
    std::string Take(VirtualGatewayStatuses status) {
        RequestQueue::Request request;
        const bool isTaken = queue_.Take(status, request);
        EXPECT_EQ(isTaken, request != nullptr);
        return isTaken ? request->id : "none";
    }

    const std::string refresh_ = "requestNewSEQID-1";
    RequestQueue queue_;
};

TEST_F(RequestQueueTest, HoldsTheFirstRequestBackUntilTheGatewayIsReadyAndNoneBehindIt) {
    EXPECT_EQ(Take(READY), "none") << "it is empty";
    Append("1");
    Append("2");
    for (const VirtualGatewayStatuses status : {CREATED, CONNECTED, DISCONNECTED, FAULTED, NOT_PRESENT}) {
        EXPECT_EQ(Take(status), "none") << status;
    }
    EXPECT_EQ(Take(READY), "1");
    EXPECT_EQ(Take(CREATED), "2");
    for (const VirtualGatewayStatuses status : {CREATED, CONNECTED, READY, DISCONNECTED, FAULTED, NOT_PRESENT}) {
        Append("3");
        EXPECT_EQ(Take(status), "3") << status;
        EXPECT_EQ(Take(status), "none") << status;
    }
}

TEST_F(RequestQueueTest, GivesAConnectedGatewayTheRefreshInFrontWhichIsAFirstRequestToo) {
    Append(refresh_);
    Append("1");
    for (const VirtualGatewayStatuses status : {CREATED, DISCONNECTED, FAULTED, NOT_PRESENT}) {
        EXPECT_EQ(Take(status), "none") << status;
    }
    EXPECT_EQ(Take(CONNECTED), refresh_);
    EXPECT_EQ(Take(FAULTED), "1");
}

TEST_F(RequestQueueTest, HoldsARefreshBackBehindAnotherRequest) {
    Append("1");
    Append(refresh_);
    EXPECT_EQ(Take(CONNECTED), "none");
    EXPECT_EQ(Take(READY), "1");
    EXPECT_EQ(Take(CONNECTED), refresh_);
}

TEST_F(RequestQueueTest, AMissingRequestIsTakenAsAnyOtherThatIsNoRefresh) {
    std::list<RequestQueue::Request> missing = {nullptr};
    queue_.Append(missing);
    RequestQueue::Request request = std::make_shared<MessageRequestInfo>();
    EXPECT_FALSE(queue_.Take(CONNECTED, request));
    EXPECT_NE(request, nullptr);
    EXPECT_TRUE(queue_.Take(READY, request));
    EXPECT_EQ(request, nullptr);
}

TEST_F(RequestQueueTest, AKeepAliveIsDue27SecondsAfterTheLastWhichWasAt0AtFirst) {
    EXPECT_FALSE(queue_.BeginKeepAlive(26));
    EXPECT_TRUE(queue_.BeginKeepAlive(27));
    EXPECT_FALSE(queue_.BeginKeepAlive(53));
    EXPECT_TRUE(queue_.BeginKeepAlive(54));
    EXPECT_FALSE(queue_.BeginKeepAlive(10)) << "the clock was put back";
    EXPECT_TRUE(queue_.BeginKeepAlive(81));
}

TEST_F(RequestQueueTest, TheSecondsBetweenKeepAlivesAreASigned32BitNumber) {
    if (sizeof(std::time_t) < sizeof(std::int64_t)) {
        GTEST_SKIP() << "no time is that far away here";
    }
    ASSERT_TRUE(queue_.BeginKeepAlive(1000));
    for (const std::int64_t later : {0x80000000LL, 0xFFFFFFFFLL, 0x10000001ALL}) {
        EXPECT_FALSE(queue_.BeginKeepAlive(static_cast<std::time_t>(1000 + later))) << later;
    }
    EXPECT_TRUE(queue_.BeginKeepAlive(static_cast<std::time_t>(1000 + 0x7FFFFFFFLL)));
}

TEST(WaitingRequests, OfTwoUnderOneReferenceIDTheFirstWaitsUntilItIsRemoved) {
    WaitingRequests waiting;
    const auto first = RequestWith("1");
    const auto second = RequestWith("2");
    EXPECT_TRUE(waiting.Add(first));
    EXPECT_FALSE(waiting.Add(second));
    EXPECT_EQ(waiting.Find(5), first);
    EXPECT_EQ(waiting.Find(5), first) << "it keeps waiting";
    EXPECT_EQ(second.use_count(), 1);
    EXPECT_FALSE(waiting.Find(6).has_value());
    waiting.Remove(6);
    const WaitingRequests::Map copy = waiting.Copy();
    waiting.Remove(5);
    EXPECT_FALSE(waiting.Find(5).has_value());
    EXPECT_EQ(copy, (WaitingRequests::Map{{5, first}}));
}

TEST(WaitingRequests, AReleasedRequestIsTheCallersAndItsReferenceIDStaysTakenUntilItIsRemoved) {
    WaitingRequests waiting;
    ASSERT_TRUE(waiting.Add(RequestWith("1")));
    const WaitingRequests::Request released = waiting.Release(5);
    ASSERT_NE(released, nullptr);
    EXPECT_EQ(released->id, "1");
    EXPECT_EQ(released.use_count(), 1);
    ASSERT_TRUE(waiting.Find(5).has_value());
    EXPECT_EQ(*waiting.Find(5), nullptr);
    EXPECT_FALSE(waiting.Add(RequestWith("2")));
    waiting.Remove(5);
    EXPECT_TRUE(waiting.Add(RequestWith("2")));
    EXPECT_THROW(waiting.Release(6), std::out_of_range);
}

}  // namespace
}  // namespace Testing
