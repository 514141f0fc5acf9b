#include "gateway/WaitingRequests.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace Testing {
namespace {

using Brenk::MessageRequestInfo;
using Brenk::WaitingRequests;

WaitingRequests::Request RequestWith(std::uint8_t referenceID, const std::string& id) {
    auto request = std::make_shared<MessageRequestInfo>();
    request->referenceID = referenceID;
    request->id = id;
    return request;
}

TEST(WaitingRequests, ARequestIsFoundUnderItsReferenceIDAndKeepsWaiting) {
    WaitingRequests waiting;
    const auto request = RequestWith(5, "1");
    EXPECT_TRUE(waiting.Add(request));
    EXPECT_EQ(waiting.Find(5), request);
    EXPECT_EQ(waiting.Find(5), request);
    EXPECT_FALSE(waiting.Find(6).has_value());
}

TEST(WaitingRequests, OfTwoUnderOneReferenceIDTheFirstWaits) {
    WaitingRequests waiting;
    const auto first = RequestWith(5, "1");
    const auto second = RequestWith(5, "2");
    EXPECT_TRUE(waiting.Add(first));
    EXPECT_FALSE(waiting.Add(second));
    EXPECT_EQ(waiting.Find(5), first);
    EXPECT_EQ(second.use_count(), 1);
}

TEST(WaitingRequests, AReleasedRequestIsTheCallersAndItsReferenceIDStaysTakenUntilItIsRemoved) {
    WaitingRequests waiting;
    ASSERT_TRUE(waiting.Add(RequestWith(5, "1")));
    const WaitingRequests::Request released = waiting.Release(5);
    ASSERT_NE(released, nullptr);
    EXPECT_EQ(released->id, "1");
    EXPECT_EQ(released.use_count(), 1);
    ASSERT_TRUE(waiting.Find(5).has_value());
    EXPECT_EQ(*waiting.Find(5), nullptr);
    EXPECT_FALSE(waiting.Add(RequestWith(5, "2")));

    waiting.Remove(5);
    EXPECT_FALSE(waiting.Find(5).has_value());
    EXPECT_TRUE(waiting.Add(RequestWith(5, "2")));
}

TEST(WaitingRequests, WhatDoesNotWaitCannotBeReleasedAndNeedNotBeRemoved) {
    WaitingRequests waiting;
    ASSERT_TRUE(waiting.Add(RequestWith(5, "1")));
    EXPECT_THROW(waiting.Release(6), std::out_of_range);
    waiting.Remove(6);
    EXPECT_TRUE(waiting.Find(5).has_value());
}

TEST(WaitingRequests, ACopyHoldsEachRequestAndIsNotChangedLater) {
    WaitingRequests waiting;
    const auto first = RequestWith(5, "1");
    const auto second = RequestWith(3, "2");
    ASSERT_TRUE(waiting.Add(first));
    ASSERT_TRUE(waiting.Add(second));
    const WaitingRequests::Map copy = waiting.Copy();
    waiting.Remove(5);
    EXPECT_EQ(copy, (WaitingRequests::Map{{3, second}, {5, first}}));
    EXPECT_EQ(waiting.Copy(), (WaitingRequests::Map{{3, second}}));
}

}  // namespace
}  // namespace Testing
