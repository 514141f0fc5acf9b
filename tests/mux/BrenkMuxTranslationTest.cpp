// Answers and events from gateways: their effect and all their log lines.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "mux/BrenkMux.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxLog.h"
#include "tests/mux/MuxWithGateway.h"
#include "tests/mux/TestMux.h"

using Brenk::Messages::VG::VirtualGatewayEventMessage;
using Brenk::Messages::VG::VirtualGatewayResponseMessage;
using plog::debug;
using plog::error;
using plog::info;
using plog::verbose;
using plog::warning;
using Testing::LockData;
using Testing::LogHook;
using Testing::MuxLog;
using Testing::Request;
using Testing::Steps;

namespace Mux {
namespace {

class BrenkMuxTranslation : public Testing::MuxWithGateway {
  protected:
    // Calls the callback as a gateway does; it takes the answer over.
    void Answer(const std::string& id, std::uint32_t responseCode = 0) {
        auto response = std::make_unique<VirtualGatewayResponseMessage>();
        response->requestID = id;
        response->responseCode = responseCode;
        BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), response.release(), &mux);
    }

    void ExpectAnswerSteps(const std::string& id, const Steps& steps) {
        const MuxLog muxLog(log);
        Answer(id);
        muxLog.Expect(Steps{{debug, "Gateway \"1\" sent an answer for message with ID " + id},
                            {debug, "Invoking TranslateMessage callback."},
                            Testing::kPendingLock} +
                      steps);
    }

    void RaiseEvent(int type, void* context) {
        auto event = std::make_unique<VirtualGatewayEventMessage>();
        event->eventType = static_cast<std::uint8_t>(type);
        event->deviceAddress = 5;
        BrenkMux::VirtualGatewayEventReceivedCallback(mux.Gateway(), event.release(), context);
    }

    void ExpectEventSteps(int type, const Steps& steps) {
        const MuxLog muxLog(log);
        RaiseEvent(type, &mux);
        muxLog.Expect(
            Steps{{debug,
                   "[BrenkMux::VirtualGatewayEventReceivedCallback] Gateway \"1\" sent an event for "
                   "device with address 5"},
                  {debug, "Invoking TranslateMessage callback."},
                  {info, "Received an event from Virtual Gateway with ID 1 of type " + std::to_string(type) + "."}} +
            steps);
    }

    static Steps Found(const std::string& id) {
        return {{debug,
                 "Found message with ID " + id + " sent from gateway \"1\". Answer message to client will be built."}};
    }

    static Steps Enqueued(const std::string& id, std::size_t count) {
        return {{debug, "Enqueuing mux answer " + id + " to client."},
                {warning, "Requested lock withtout timeout for mutex muxMessageQueueMutex"},
                {verbose, "Enqueued mux answer message with ID " + id + ". Currently, the Mux have " +
                              std::to_string(count) + " messages in the answer queue, ready to be sent to clients."}};
    }
};

TEST_F(BrenkMuxTranslation, TurnsAnAnswerIntoTheClients) {
    mux.Route(Request(22, "m1", LockData()));
    ExpectAnswerSteps("m1", Found("m1") + Enqueued("m1", 1));
    mux.Route(Request(12, "m2", LockData()));
    ExpectAnswerSteps("m2",
                      Found("m2") + Steps{{debug, "Building response to Lock GetStatus message."}} + Enqueued("m2", 2));
    EXPECT_EQ(mux.TakeAnswer(log), R"({"Timestamp":T,"MessageID":"m1","MessageCode":0,"Data":{}})");
}

TEST_F(BrenkMuxTranslation, NamesLockAndGatewayInTheRefusalOfALockOperation) {
    mux.Route(Request(10, "m1", LockData()));
    Answer("m1", 8);
    EXPECT_EQ(mux.TakeAnswer(log), R"({"Timestamp":T,"MessageID":"m1","MessageCode":1,)"
                                   R"("Data":{"ErrorCode":0,"Message":"No route for device address 5 on gateway 1"}})");
}

TEST_F(BrenkMuxTranslation, AnAnswerThatNobodyWaitsForProducesNoClientMessage) {
    mux.Route(Request(22, "m1", LockData()));
    ExpectAnswerSteps(
        "m2", {{warning, "Received a message from Virtual Gateway with ID m2 that is not in the requests list."}});
    ExpectAnswerSteps("requestNewSEQID-1",
                      {{debug,
                        "Received a message from Virtual Gateway that is not in the request list, but it's a NEW SEQ "
                        "REQUEST. Probably used as a keep alive for the gateway."}});
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(mux.PendingCount(), 1U);
}

TEST_F(BrenkMuxTranslation, ANullAnswerProducesNoClientMessage) {
    mux.Route(Request(22, "", LockData()));
    const MuxLog muxLog(log);
    BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), nullptr, &mux);
    muxLog.Expect({{error, "Virtual Gateway message is nullptr."},
                   {debug, "Invoking TranslateMessage callback."},
                   Testing::kPendingLock,
                   {warning,
                    "Received a message from Virtual Gateway that is not in the requests list. And it's also "
                    "nullptr."}});
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(mux.PendingCount(), 1U);
}

// No gateway is ever asked for such a code, but one may still answer an older request of the same MessageID.
TEST_F(BrenkMuxTranslation, AnAnswerToACodeThatHasNoneEndsTheRequest) {
    const LogHook answer("Prepare to send message", [this] {
        ExpectAnswerSteps("m1",
                          Found("m1") + Steps{{error,
                                               "Answer message is nullptr. This means that we cannot build a correct "
                                               "answer for this message. Removed from the pending queue."},
                                              {error, "Cannot enqueue a NULL answer message!"}});
    });
    mux.Route(Request(99, "m1"));
    EXPECT_EQ(answer.Runs(), 1);
    EXPECT_EQ(mux.PendingCount(), 0U);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxTranslation, AnAnswerWithoutContextGoesNoFurther) {
    const MuxLog muxLog(log);
    BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), new VirtualGatewayResponseMessage, nullptr);
    BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), nullptr, nullptr);
    muxLog.Expect({{error, "No callback state set!"},
                   {error, "Virtual Gateway message is nullptr."},
                   {error, "No callback state set!"}});
}

TEST_F(BrenkMuxTranslation, AnEventWithoutContextGoesNoFurther) {
    const MuxLog muxLog(log);
    RaiseEvent(14, nullptr);
    muxLog.Expect({{error, "No callback state set!"}});
}

// A gateway is connected before the first client is: its events then reach nobody.
TEST_F(BrenkMuxTranslation, AnEventBeforeThereIsAServerSocketIsLogged) {
    ExpectEventSteps(14, {{info, "READER EVENT. A card was passed on the reader of a smartlock."}});
    ExpectEventSteps(15, {{info, "ACCESS ALLOWED EVENT. A smartlock has let a card in."}});
    ExpectEventSteps(22, {{info, "PING EVENT. It is passed on to the clients as an info event."}});
    for (const int type : {17, 18, 99}) {
        ExpectEventSteps(type, {{debug, "Clients are not told of events of type " + std::to_string(type) + "."}});
    }
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxTranslation, AnEventIsLostWithItsLineWhenItCannotLockTheAnswerQueue) {
    mux.DestroyMutexes();
    RaiseEvent(14, &mux);
    EXPECT_EQ(log.Count(error,
                        "Cannot acquire resources lock for enqueuing current Mux Message Event. The event will be "
                        "lost."),
              1);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

}  // namespace
}  // namespace Mux
