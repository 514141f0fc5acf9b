#include "gateway/ResponseManager.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "messages/Codes.h"
#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"

namespace Testing {
namespace {

using Brenk::MessageRequestInfo;
using Brenk::ResponseManager;
using Brenk::Messages::BrenkMessage;
using Brenk::Messages::BrenkMessageBuilder;
using Brenk::Messages::VG::VirtualGatewayEventMessage;
using Brenk::Messages::VG::VirtualGatewayResponseMessage;

constexpr std::uint8_t kReference = 9;

// The test is the owner; nothing is ever connected.
class ResponseManagerTest : public ::testing::Test {
  protected:
    using ResponsePointer = std::unique_ptr<VirtualGatewayResponseMessage>;
    using EventPointer = std::unique_ptr<VirtualGatewayEventMessage>;

    ResponseManagerTest() {
        callbacks_.context = this;
        callbacks_.stateChanged = [](Brenk::VirtualGateway*, Brenk::VirtualGatewayStatuses,
                                     Brenk::VirtualGatewayStatuses to, void* context) {
            auto* const test = static_cast<ResponseManagerTest*>(context);
            test->statuses_.push_back(to);
            test->countersAtStatus_.push_back(test->builder_->SequenceCounter());
        };
        callbacks_.responseReceived = [](Brenk::VirtualGateway*, VirtualGatewayResponseMessage* response,
                                         void* context) {
            ResponsePointer owned(response);
            auto* const test = static_cast<ResponseManagerTest*>(context);
            test->responses_.push_back(std::move(owned));
            test->onResponse_();
        };
        callbacks_.eventReceived = [](Brenk::VirtualGateway*, VirtualGatewayEventMessage* event, void* context) {
            static_cast<ResponseManagerTest*>(context)->events_.push_back(EventPointer(event));
        };
        owner_.Set(callbacks_);
    }

    // A lock request that waits for its answer under kReference.
    std::weak_ptr<MessageRequestInfo> Wait(const std::string& id) {
        const auto request = std::make_shared<MessageRequestInfo>();
        request->referenceID = kReference;
        request->id = id;
        request->message = builder_->BuildClearWhitelist(5);
        request->context = this;
        EXPECT_TRUE(waiting_.Add(request));
        return request;
    }

    std::weak_ptr<MessageRequestInfo> WaitForRefresh() {
        return Wait(std::string(MessageRequestInfo::kSequenceRefreshMark) + "1");
    }

    void ManageAnswer(const Bytes& frame) {
        const std::unique_ptr<BrenkMessage> parsed = Parsed(frame);
        manager_.ManageAnswer(*parsed, 0);
    }

    std::unique_ptr<BrenkMessage> Parsed(Bytes frame) { return std::unique_ptr<BrenkMessage>(builder_->Parse(frame)); }

    bool IsWaiting() const { return waiting_.Find(kReference).has_value(); }

    const CapturedLog log_;
    std::vector<Brenk::VirtualGatewayStatuses> statuses_;
    std::vector<std::uint32_t> countersAtStatus_;
    std::vector<ResponsePointer> responses_;
    std::vector<EventPointer> events_;
    std::function<void()> onResponse_ = [] {};
    Brenk::GatewayOwner callbacks_;
    const std::shared_ptr<BrenkMessageBuilder> builder_ = std::make_shared<BrenkMessageBuilder>(0, 1);
    Brenk::WaitingRequests waiting_;
    Brenk::OwnerLink owner_{nullptr};
    Brenk::Connection connection_{"127.0.0.1", 1, {nullptr, nullptr, nullptr}, owner_};
    ResponseManager manager_{builder_, waiting_, connection_, owner_};
};

TEST_F(ResponseManagerTest, AnEventIsPassedOnWithTypeAddressAndData) {
    manager_.ManageEvent(*Parsed(EventFrame(14, {0x04, 0xA1})));
    ASSERT_EQ(events_.size(), 1U);
    EXPECT_EQ(events_.front()->eventType, 14);
    EXPECT_EQ(events_.front()->deviceAddress, 5);
    EXPECT_EQ(events_.front()->data, "04A1");
}

TEST_F(ResponseManagerTest, WithoutACallbackAnEventIsIgnoredWithAWarning) {
    callbacks_.eventReceived = nullptr;
    owner_.Set(callbacks_);
    manager_.ManageEvent(*Parsed(EventFrame(14, {0x04})));
    EXPECT_EQ(log_.Count(plog::warning, "No callback for events is set. The event will be ignored."), 1);
}

TEST_F(ResponseManagerTest, AnAnswerToARequestIsPassedOnAndTheRequestFreed) {
    const auto request = Wait("request-1");
    ManageAnswer(ResultFrame(kReference, 0));
    ASSERT_EQ(responses_.size(), 1U);
    EXPECT_EQ(responses_.front()->requestID, "request-1");
    EXPECT_EQ(responses_.front()->requestCode, 5);
    EXPECT_EQ(responses_.front()->responseCode, 0U);
    EXPECT_EQ(responses_.front()->statusPayload, nullptr);
    EXPECT_FALSE(IsWaiting());
    EXPECT_TRUE(request.expired());
}

TEST_F(ResponseManagerTest, TheTopTwoBitsOfTheReferenceIDAreTheGateways) {
    Wait("request-1");
    ManageAnswer(ResultFrame(0xC0 | kReference, 0));
    EXPECT_EQ(responses_.size(), 1U);
}

TEST_F(ResponseManagerTest, AnAnswerToNoRequestIsLostWithAWarning) {
    Wait("request-1");
    ManageAnswer(ResultFrame(kReference + 1, 0));
    EXPECT_TRUE(responses_.empty());
    EXPECT_TRUE(IsWaiting());
    EXPECT_TRUE(log_.Holds(plog::warning, "The message is lost"));
}

TEST_F(ResponseManagerTest, OkAndNoRouteAreNotPassedOnWhenTheyAnswerASequenceRefresh) {
    for (const std::uint8_t result :
         {Brenk::Messages::BRENK_RESPONSE_OK, Brenk::Messages::BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR}) {
        WaitForRefresh();
        ManageAnswer(ResultFrame(kReference, result));
        EXPECT_TRUE(responses_.empty());
        EXPECT_FALSE(IsWaiting());
        Wait("request-1");
        ManageAnswer(ResultFrame(kReference, result));
        ASSERT_EQ(responses_.size(), 1U);
        EXPECT_EQ(responses_.front()->responseCode, result);
        responses_.clear();
    }
}

TEST_F(ResponseManagerTest, AnAnnouncedCounterIsInTheBuilderBeforeTheGatewayIsReadyAndIsNotPassedOn) {
    EXPECT_FALSE(manager_.IsSequenceCounterKnown());
    Wait("request-1");
    ManageAnswer(ResultFrame(kReference, 7, 0x01020304));
    EXPECT_TRUE(manager_.IsSequenceCounterKnown());
    EXPECT_EQ(statuses_, std::vector<Brenk::VirtualGatewayStatuses>({Brenk::READY}));
    EXPECT_EQ(countersAtStatus_, std::vector<std::uint32_t>({0x01020304}));
    EXPECT_TRUE(responses_.empty());
    EXPECT_FALSE(IsWaiting());

    Wait("request-2");
    ManageAnswer(ResultFrame(kReference, 7, 8));
    EXPECT_EQ(builder_->SequenceCounter(), 8U);
    EXPECT_EQ(statuses_.size(), 1U);

    manager_.ForgetSequenceCounter();
    EXPECT_FALSE(manager_.IsSequenceCounterKnown());
}

TEST_F(ResponseManagerTest, WithoutABuilderAnAnnouncedCounterChangesNothing) {
    ResponseManager manager(nullptr, waiting_, connection_, owner_);
    Wait("request-1");
    manager.ManageAnswer(*Parsed(ResultFrame(kReference, 7, 8)), 0);
    EXPECT_FALSE(manager.IsSequenceCounterKnown());
    EXPECT_TRUE(statuses_.empty());
    EXPECT_FALSE(IsWaiting());
}

TEST_F(ResponseManagerTest, AStatusAnswerIsPassedOnWithItsPayload) {
    Wait("request-1");
    ManageAnswer(Frame(1, kReference, {1, 2, 3, 4, 5, 6, 7}));
    ASSERT_EQ(responses_.size(), 1U);
    EXPECT_NE(responses_.front()->statusPayload, nullptr);
}

TEST_F(ResponseManagerTest, AnAnswerThatIsNotUnderstoodIsPassedOnAsNull) {
    for (const std::uint8_t type : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{0x63}}) {
        Brenk::Messages::BrenkFrameHeader header;
        header.payloadType = type;
        header.referenceID = kReference;
        BrenkMessage withoutPayload(header);
        Wait("request-1");
        manager_.ManageAnswer(withoutPayload, 0);
        ASSERT_EQ(responses_.size(), 1U);
        EXPECT_EQ(responses_.front(), nullptr);
        EXPECT_FALSE(IsWaiting());
        responses_.clear();
    }
}

TEST_F(ResponseManagerTest, WithoutACallbackAnAnswerIsIgnoredAndTheRequestFreed) {
    callbacks_.responseReceived = nullptr;
    owner_.Set(callbacks_);
    const auto request = Wait("request-1");
    ManageAnswer(ResultFrame(kReference, 0));
    EXPECT_FALSE(IsWaiting());
    EXPECT_TRUE(request.expired());
}

TEST_F(ResponseManagerTest, WhenTheOwnerHasNoMemoryTheRequestWaitsNoLonger) {
    Wait("request-1");
    onResponse_ = [] { throw std::bad_alloc(); };
    EXPECT_THROW(ManageAnswer(ResultFrame(kReference, 0)), std::bad_alloc);
    EXPECT_FALSE(IsWaiting());
}

TEST_F(ResponseManagerTest, AnyOtherExceptionOfTheOwnerLeavesTheRequestWaiting) {
    Wait("request-1");
    onResponse_ = [] { throw std::runtime_error("refused"); };
    EXPECT_THROW(ManageAnswer(ResultFrame(kReference, 0)), std::runtime_error);
    EXPECT_TRUE(IsWaiting());
}

}  // namespace
}  // namespace Testing
