#include "gateway/RequestQueue.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

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

constexpr VirtualGatewayStatuses kStatuses[] = {CREATED, CONNECTED, READY, DISCONNECTED, FAULTED, NOT_PRESENT};

class RequestQueueTest : public ::testing::Test {
  protected:
    void Append(const std::string& id) {
        auto request = std::make_shared<MessageRequestInfo>();
        request->id = id;
        std::list<RequestQueue::Request> built = {request};
        queue_.Append(built);
        EXPECT_TRUE(built.empty());
    }

    void AppendRefresh() { Append(std::string(MessageRequestInfo::kSequenceRefreshMark) + "1"); }

    // The ID of the request that is taken, "none" when there is none.
    std::string Take(VirtualGatewayStatuses status) {
        RequestQueue::Request request;
        const bool isTaken = queue_.Take(status, request);
        EXPECT_EQ(isTaken, request != nullptr);
        return isTaken ? request->id : "none";
    }

    RequestQueue queue_;
};

TEST_F(RequestQueueTest, IsNotStartedUntilItIsTold) {
    EXPECT_FALSE(queue_.IsStarted());
    queue_.Start();
    EXPECT_TRUE(queue_.IsStarted());
}

TEST_F(RequestQueueTest, HasNothingToTakeWhenItIsEmpty) {
    for (const VirtualGatewayStatuses status : kStatuses) {
        EXPECT_EQ(Take(status), "none") << status;
    }
}

TEST_F(RequestQueueTest, WhatIsAppendedFirstIsTakenFirst) {
    Append("1");
    Append("2");
    EXPECT_EQ(Take(READY), "1");
    Append("3");
    EXPECT_EQ(Take(READY), "2");
    EXPECT_EQ(Take(READY), "3");
    EXPECT_EQ(Take(READY), "none");
}

TEST_F(RequestQueueTest, HoldsTheFirstRequestBackUntilTheGatewayIsReady) {
    Append("1");
    for (const VirtualGatewayStatuses status : {CREATED, CONNECTED, DISCONNECTED, FAULTED, NOT_PRESENT}) {
        EXPECT_EQ(Take(status), "none") << status;
    }
    EXPECT_EQ(Take(READY), "1");
}

TEST_F(RequestQueueTest, GivesAConnectedGatewayTheRefreshInFront) {
    AppendRefresh();
    for (const VirtualGatewayStatuses status : {CREATED, DISCONNECTED, FAULTED, NOT_PRESENT}) {
        EXPECT_EQ(Take(status), "none") << status;
    }
    EXPECT_EQ(Take(CONNECTED), "requestNewSEQID-1");
}

TEST_F(RequestQueueTest, HoldsARefreshBackBehindAnotherRequest) {
    Append("1");
    AppendRefresh();
    EXPECT_EQ(Take(CONNECTED), "none");
    EXPECT_EQ(Take(READY), "1");
    EXPECT_EQ(Take(CONNECTED), "requestNewSEQID-1");
}

TEST_F(RequestQueueTest, FromTheFirstTakenRequestOnHoldsNothingBack) {
    Append("0");
    ASSERT_EQ(Take(READY), "0");
    for (const VirtualGatewayStatuses status : kStatuses) {
        Append("1");
        EXPECT_EQ(Take(status), "1") << status;
    }
}

TEST_F(RequestQueueTest, TheRefreshIsAFirstRequestToo) {
    AppendRefresh();
    Append("1");
    ASSERT_EQ(Take(CONNECTED), "requestNewSEQID-1");
    EXPECT_EQ(Take(FAULTED), "1");
}

TEST_F(RequestQueueTest, AnEmptyQueueDoesNotLetTheFirstRequestGo) {
    EXPECT_EQ(Take(READY), "none");
    Append("1");
    EXPECT_EQ(Take(CONNECTED), "none");
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

TEST_F(RequestQueueTest, AKeepAliveIsDue27SecondsAfterTheLast) {
    EXPECT_TRUE(queue_.BeginKeepAlive(1000));
    EXPECT_FALSE(queue_.BeginKeepAlive(1000));
    EXPECT_FALSE(queue_.BeginKeepAlive(1026));
    EXPECT_TRUE(queue_.BeginKeepAlive(1027));
    EXPECT_FALSE(queue_.BeginKeepAlive(1053));
    EXPECT_TRUE(queue_.BeginKeepAlive(1054));
}

TEST_F(RequestQueueTest, TheTimeOfTheLastKeepAliveIs0AtFirst) {
    EXPECT_FALSE(queue_.BeginKeepAlive(26));
    EXPECT_TRUE(queue_.BeginKeepAlive(27));
}

TEST_F(RequestQueueTest, ATimeBeforeTheLastKeepAliveMakesNoneDue) {
    EXPECT_TRUE(queue_.BeginKeepAlive(1000));
    EXPECT_FALSE(queue_.BeginKeepAlive(900));
    EXPECT_TRUE(queue_.BeginKeepAlive(1027));
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

TEST_F(RequestQueueTest, KeepsTheTimeOfTheLastSending) {
    EXPECT_EQ(queue_.LastSendTime(), 0);
    queue_.SetLastSendTime(1000);
    EXPECT_EQ(queue_.LastSendTime(), 1000);
}

}  // namespace
}  // namespace Testing
