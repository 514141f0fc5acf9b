#include "gateway/RequestSending.h"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <vector>

#include "messages/BrenkMessage.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"

namespace Testing {
namespace {

using Brenk::MessageRequestInfo;
using Brenk::RequestQueue;
using Brenk::Messages::BrenkMessageBuilder;

// A payload for which there is never enough memory.
class UnserializablePayload : public Brenk::Messages::BrenkMessagePayload {
  public:
    std::vector<unsigned char>* Serialize() override { throw std::bad_alloc(); }
};

class RequestSendingTest : public ::testing::Test {
  protected:
    RequestSendingTest() { fake_.Listen(); }

    // A status request for lock 5 that carries the builder's counters.
    RequestQueue::Request Request(const std::string& id) {
        auto request = std::make_shared<MessageRequestInfo>();
        request->message = builder_.BuildGetStatus(5);
        request->referenceID = request->message->ReferenceID();
        request->id = id;
        return request;
    }

    RequestQueue::Request UnserializableRequest() {
        RequestQueue::Request request = Request("request-2");
        request->message->AttachPayload(std::make_unique<UnserializablePayload>());
        return request;
    }

    void Send(const RequestQueue::Request& request) { SendRequest(request, &builder_, waiting_, connection_); }

    const CapturedLog log_;
    FakeGateway fake_;
    BrenkMessageBuilder builder_{0, 1};
    Brenk::WaitingRequests waiting_;
    Brenk::OwnerLink owner_{nullptr};
    Brenk::Connection connection_{"127.0.0.1", fake_.Port(), {nullptr, nullptr, nullptr}, owner_};
};

TEST_F(RequestSendingTest, TheFrameIsWrittenTheRequestWaitsAndTheCountersMoveOn) {
    ASSERT_TRUE(connection_.Connect(Brenk::READY));
    FakeConnection connected = fake_.Accept();
    const RequestQueue::Request request = Request("request-1");
    Send(request);
    const Bytes frame = connected.ReceiveFrame();
    EXPECT_EQ(DeviceAddressOf(frame), 5U);
    EXPECT_EQ(ReferenceIDOf(frame), 1);
    EXPECT_EQ(waiting_.Find(1), request);
    EXPECT_EQ(builder_.ReferenceID(), 2);
    EXPECT_EQ(builder_.SequenceCounter(), 1U);
    EXPECT_TRUE(log_.Holds(plog::info, "Sending binary serialized message with ID request-1"));
    EXPECT_FALSE(log_.Holds(plog::error, ""));
}

TEST_F(RequestSendingTest, ASequenceRefreshHasNoLineAtInfo) {
    ASSERT_TRUE(connection_.Connect(Brenk::READY));
    Send(Request(MessageRequestInfo::kSequenceRefreshMark));
    EXPECT_FALSE(log_.Holds(plog::info, "Sending binary serialized message"));
    EXPECT_FALSE(log_.Holds(plog::error, ""));
}

TEST_F(RequestSendingTest, ARequestThatCannotBeSentWaitsAndTheCountersMoveOn) {
    Send(Request("request-1"));
    EXPECT_EQ(log_.Count(plog::error,
                         "Error sending enqueued message request-1 to current Virtual Gateway. Message removed from "
                         "queue"),
              1);
    EXPECT_TRUE(waiting_.Find(1).has_value());
    EXPECT_EQ(builder_.ReferenceID(), 2);
    EXPECT_EQ(builder_.SequenceCounter(), 1U);
}

TEST_F(RequestSendingTest, ARequestWithoutMemoryDoesNotWaitAndLeavesTheCountersAndAnotherOneWithItsReferenceID) {
    const RequestQueue::Request first = Request("request-1");
    const RequestQueue::Request second = UnserializableRequest();
    EXPECT_THROW(Send(second), std::bad_alloc);
    EXPECT_FALSE(waiting_.Find(1).has_value());
    EXPECT_EQ(builder_.ReferenceID(), 1);
    EXPECT_EQ(builder_.SequenceCounter(), 0U);
    Send(first);
    EXPECT_THROW(Send(second), std::bad_alloc);
    EXPECT_EQ(waiting_.Find(1), first);
}

TEST_F(RequestSendingTest, WithoutABuilderARequestIsSentAllTheSame) {
    ASSERT_TRUE(connection_.Connect(Brenk::READY));
    FakeConnection connected = fake_.Accept();
    SendRequest(Request("request-1"), nullptr, waiting_, connection_);
    EXPECT_EQ(DeviceAddressOf(connected.ReceiveFrame()), 5U);
    EXPECT_TRUE(waiting_.Find(1).has_value());
}

}  // namespace
}  // namespace Testing
