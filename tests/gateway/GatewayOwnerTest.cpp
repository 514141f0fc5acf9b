#include "gateway/GatewayOwner.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Testing {
namespace {

using Brenk::GatewayOwner;
using Brenk::OwnerLink;
using Brenk::VirtualGateway;
using Brenk::VirtualGatewayStatuses;
using Brenk::Messages::VG::VirtualGatewayEventMessage;
using Brenk::Messages::VG::VirtualGatewayResponseMessage;

// What the callbacks were called with. The gateway of a link is never looked at, so that of the test is null.
struct Calls {
    std::vector<std::pair<VirtualGatewayStatuses, VirtualGatewayStatuses>> statuses;
    std::vector<std::string> responses;  // the request's ID, "null" for no message
    std::vector<int> events;             // the type
};

GatewayOwner OwnerOf(Calls& calls) {
    GatewayOwner owner;
    owner.id = 12;
    owner.description = "Front door";
    owner.context = &calls;
    owner.stateChanged = [](VirtualGateway*, VirtualGatewayStatuses from, VirtualGatewayStatuses to, void* context) {
        static_cast<Calls*>(context)->statuses.emplace_back(from, to);
    };
    owner.responseReceived = [](VirtualGateway*, VirtualGatewayResponseMessage* response, void* context) {
        const std::unique_ptr<VirtualGatewayResponseMessage> owned(response);
        static_cast<Calls*>(context)->responses.push_back(owned == nullptr ? "null" : owned->requestID);
    };
    owner.eventReceived = [](VirtualGateway*, VirtualGatewayEventMessage* event, void* context) {
        const std::unique_ptr<VirtualGatewayEventMessage> owned(event);
        static_cast<Calls*>(context)->events.push_back(owned->eventType);
    };
    return owner;
}

void TellAll(const OwnerLink& link, Calls& contextOfTheRequest) {
    link.TellStatus(Brenk::CREATED, Brenk::READY);
    auto response = std::make_unique<VirtualGatewayResponseMessage>();
    response->requestID = "request-1";
    link.TellResponse(std::move(response), &contextOfTheRequest);
    link.TellResponse(nullptr, &contextOfTheRequest);
    auto event = std::make_unique<VirtualGatewayEventMessage>();
    event->eventType = 14;
    link.TellEvent(std::move(event));
}

TEST(OwnerLink, ANewOneHasAnOwnerWithoutAnything) {
    const OwnerLink link(nullptr);
    EXPECT_EQ(link.Current()->id, 0);
    EXPECT_EQ(link.Current()->description, "");
    EXPECT_EQ(link.Current()->context, nullptr);
    Calls calls;
    TellAll(link, calls);
    EXPECT_TRUE(calls.statuses.empty() && calls.responses.empty() && calls.events.empty());
}

TEST(OwnerLink, CallsBackWithTheOwnersContextButForResponsesWithThatOfTheRequest) {
    OwnerLink link(nullptr);
    Calls calls;
    Calls callsForTheRequest;
    link.Set(OwnerOf(calls));
    TellAll(link, callsForTheRequest);
    ASSERT_EQ(calls.statuses.size(), 1U);
    EXPECT_EQ(calls.statuses.front(), std::make_pair(Brenk::CREATED, Brenk::READY));
    EXPECT_EQ(calls.events, std::vector<int>({14}));
    EXPECT_TRUE(calls.responses.empty());
    EXPECT_EQ(callsForTheRequest.responses, std::vector<std::string>({"request-1", "null"}));
}

TEST(OwnerLink, AnotherOwnerIsCalledFromThenOn) {
    OwnerLink link(nullptr);
    Calls first;
    Calls second;
    link.Set(OwnerOf(first));
    link.Set(OwnerOf(second));
    TellAll(link, second);
    EXPECT_TRUE(first.statuses.empty() && first.events.empty());
    EXPECT_TRUE(second.statuses.size() == 1 && second.events.size() == 1);
}

TEST(OwnerLink, WithoutCallbacksTheIdentityAndTheContextStay) {
    OwnerLink link(nullptr);
    Calls calls;
    link.Set(OwnerOf(calls));
    link.ClearCallbacks();
    TellAll(link, calls);
    EXPECT_TRUE(calls.statuses.empty() && calls.responses.empty() && calls.events.empty());
    EXPECT_EQ(link.Current()->id, 12);
    EXPECT_EQ(link.Current()->description, "Front door");
    EXPECT_EQ(link.Current()->context, &calls);
}

}  // namespace
}  // namespace Testing
