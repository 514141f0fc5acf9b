// Answers and events that gateways hand to the Mux.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "mux/BrenkMux.h"
#include "tests/mux/MuxWithGateway.h"
#include "tests/mux/TestMux.h"

using Brenk::Messages::VG::VirtualGatewayEventMessage;
using Brenk::Messages::VG::VirtualGatewayResponseMessage;
using Testing::LockData;
using Testing::MuxWithGateway;
using Testing::Request;

namespace Mux {
namespace {

class BrenkMuxTranslation : public MuxWithGateway {};

// As a gateway makes it: the callback takes it over.
VirtualGatewayResponseMessage* Response(const std::string& requestID, std::uint32_t responseCode = 0) {
    auto response = std::make_unique<VirtualGatewayResponseMessage>();
    response->requestID = requestID;
    response->responseCode = responseCode;
    return response.release();
}

VirtualGatewayEventMessage* Event(std::uint8_t type) {
    auto event = std::make_unique<VirtualGatewayEventMessage>();
    event->eventType = type;
    event->deviceAddress = 5;
    event->data = "04A1B2C3";
    return event.release();
}

TEST_F(BrenkMuxTranslation, TurnsAnAnswerIntoTheClients) {
    mux.Route(Request(22, "m1", LockData()));
    BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), Response("m1", 8), &mux);
    EXPECT_EQ(log.Count(plog::debug, "Gateway \"1\" sent an answer for message with ID m1"), 1);
    EXPECT_EQ(log.Count(plog::debug, "Invoking TranslateMessage callback."), 1);
    EXPECT_EQ(log.Count(plog::debug,
                        "Found message with ID m1 sent from gateway \"1\". Answer message to client will be built."),
              1);
    EXPECT_EQ(log.Count(plog::debug, "Enqueuing mux answer m1 to client."), 1);
    EXPECT_EQ(log.Count(plog::verbose,
                        "Enqueued mux answer message with ID m1. Currently, the Mux have 1 messages in the answer "
                        "queue, ready to be sent to clients."),
              1);
    EXPECT_EQ(mux.TakeAnswer(log), R"({"Timestamp":T,"MessageID":"m1","MessageCode":1,)"
                                   R"("Data":{"ErrorCode":8,"Message":"No route for the requested device. "}})");
}

TEST_F(BrenkMuxTranslation, NamesLockAndGatewayInTheRefusalOfALockOperation) {
    mux.Route(Request(10, "m1", LockData()));
    mux.AnswerFromGateway("m1", 8);
    EXPECT_EQ(mux.TakeAnswer(log), R"({"Timestamp":T,"MessageID":"m1","MessageCode":1,)"
                                   R"("Data":{"ErrorCode":0,"Message":"No route for device address 5 on gateway 1"}})");
}

TEST_F(BrenkMuxTranslation, CountsTheAnswersThatAreQueued) {
    mux.Route(Request(22, "m1", LockData()));
    mux.Route(Request(22, "m2", LockData()));
    mux.AnswerFromGateway("m1", 0);
    mux.AnswerFromGateway("m2", 0);
    EXPECT_EQ(log.Count(plog::verbose,
                        "Enqueued mux answer message with ID m2. Currently, the Mux have 2 messages in the answer "
                        "queue, ready to be sent to clients."),
              1);
}

TEST_F(BrenkMuxTranslation, AnAnswerWhoseRequestIDIsUnknownProducesNoClientMessage) {
    mux.Route(Request(22, "m1", LockData()));
    BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), Response("m2"), &mux);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(mux.PendingCount(), 1U);
    EXPECT_EQ(log.Count(plog::warning,
                        "Received a message from Virtual Gateway with ID m2 that is not in the requests list."),
              1);
}

TEST_F(BrenkMuxTranslation, AnAnswerToASequenceRefreshProducesNoClientMessage) {
    BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), Response("requestNewSEQID-1700000000"), &mux);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(log.Count(plog::debug,
                        "Received a message from Virtual Gateway that is not in the request list, but it's a NEW SEQ "
                        "REQUEST. Probably used as a keep alive for the gateway."),
              1);
    EXPECT_FALSE(log.Holds(plog::warning, "that is not in the requests list"));
}

TEST_F(BrenkMuxTranslation, ANullResponseIsLoggedAndProducesNoClientMessage) {
    mux.Route(Request(22, "", LockData()));
    BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), nullptr, &mux);
    EXPECT_EQ(log.Count(plog::error, "Virtual Gateway message is nullptr."), 1);
    EXPECT_EQ(log.Count(plog::warning,
                        "Received a message from Virtual Gateway that is not in the requests list. And it's also "
                        "nullptr."),
              1);
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(mux.PendingCount(), 1U);
}

TEST_F(BrenkMuxTranslation, AResponseWithoutContextGoesNoFurther) {
    BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), Response("m1"), nullptr);
    EXPECT_EQ(log.Count(plog::error, "No callback state set!"), 1);
    EXPECT_FALSE(log.Holds(plog::debug, "Invoking TranslateMessage callback."));
}

TEST_F(BrenkMuxTranslation, ANullResponseWithoutContextGetsBothLines) {
    BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), nullptr, nullptr);
    EXPECT_EQ(Testing::InOrder(log, {"No callback state set!", "Virtual Gateway message is nullptr."}),
              (std::vector<std::string>{"Virtual Gateway message is nullptr.", "No callback state set!"}));
    EXPECT_FALSE(log.Holds(plog::debug, "Invoking TranslateMessage callback."));
}

TEST_F(BrenkMuxTranslation, LogsAnEventOfTheGateway) {
    BrenkMux::VirtualGatewayEventReceivedCallback(mux.Gateway(), Event(14), &mux);
    EXPECT_EQ(log.Count(plog::debug,
                        "[BrenkMux::VirtualGatewayEventReceivedCallback] Gateway \"1\" sent an event for device with "
                        "address 5"),
              1);
    EXPECT_EQ(log.Count(plog::debug, "Invoking TranslateMessage callback."), 1);
    EXPECT_EQ(log.Count(plog::info, "Received an event from Virtual Gateway with ID 1 of type 14."), 1);
    EXPECT_EQ(log.Count(plog::info, "READER EVENT. A card was passed on the reader of a smartlock."), 1);
}

TEST_F(BrenkMuxTranslation, AnEventWithoutContextGoesNoFurther) {
    BrenkMux::VirtualGatewayEventReceivedCallback(mux.Gateway(), Event(14), nullptr);
    EXPECT_EQ(log.Count(plog::error, "No callback state set!"), 1);
    EXPECT_FALSE(log.Holds(plog::debug, "Invoking TranslateMessage callback."));
    EXPECT_FALSE(log.Holds(plog::info, "Received an event"));
}

// A gateway is connected before the first client is: its events then reach nobody.
TEST_F(BrenkMuxTranslation, AnEventBeforeThereIsAServerSocketReachesNobody) {
    BrenkMux::VirtualGatewayEventReceivedCallback(mux.Gateway(), Event(14), &mux);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxTranslation, AnEventIsLostWithItsLineWhenItCannotLockTheAnswerQueue) {
    mux.DestroyMutexes();
    BrenkMux::VirtualGatewayEventReceivedCallback(mux.Gateway(), Event(14), &mux);
    EXPECT_EQ(log.Count(plog::error,
                        "Cannot acquire resources lock for enqueuing current Mux Message Event. The event will be "
                        "lost."),
              1);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxTranslation, EventsOfOtherTypesAreLogged) {
    for (const int type : {17, 18, 99}) {
        BrenkMux::VirtualGatewayEventReceivedCallback(mux.Gateway(), Event(static_cast<std::uint8_t>(type)), &mux);
        EXPECT_EQ(log.Count(plog::info,
                            "Received an event from Virtual Gateway with ID 1 of type " + std::to_string(type) + "."),
                  1);
    }
}

}  // namespace
}  // namespace Mux
