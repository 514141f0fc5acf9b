// What the Mux logs of answers and events on their way to the clients: every line with its severity, in its order, and
// no other line.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "mux/BrenkMux.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxClient.h"
#include "tests/mux/MuxLog.h"
#include "tests/mux/MuxWithGateway.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ReservedPort.h"

using Brenk::Messages::VG::VirtualGatewayEventMessage;
using Brenk::Messages::VG::VirtualGatewayResponseMessage;
using plog::debug;
using plog::error;
using plog::info;
using plog::verbose;
using plog::warning;
using Testing::CapturedLog;
using Testing::LockData;
using Testing::LogHook;
using Testing::MuxClient;
using Testing::MuxLog;
using Testing::MuxWithGateway;
using Testing::Request;
using Testing::ReservedPort;
using Testing::Step;
using Testing::Steps;
using Testing::TestMux;

namespace Mux {
namespace {

const Step kPendingLock = {warning, "Requested lock withtout timeout for mutex pendingMessagesListMutex"};
const Step kAnswerLock = {warning, "Requested lock withtout timeout for mutex muxMessageQueueMutex"};

class BrenkMuxTranslationSteps : public MuxWithGateway {
  protected:
    void ExpectAnswerSteps(const std::string& id, const Steps& steps) {
        auto response = std::make_unique<VirtualGatewayResponseMessage>();
        response->requestID = id;
        const MuxLog muxLog(log);
        BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), response.release(), &mux);
        muxLog.Expect(Steps{{debug, "Gateway \"1\" sent an answer for message with ID " + id},
                            {debug, "Invoking TranslateMessage callback."},
                            kPendingLock} +
                      steps);
    }

    void ExpectEventSteps(std::uint8_t type, const Steps& steps) {
        auto event = std::make_unique<VirtualGatewayEventMessage>();
        event->eventType = type;
        event->deviceAddress = 5;
        const MuxLog muxLog(log);
        BrenkMux::VirtualGatewayEventReceivedCallback(mux.Gateway(), event.release(), &mux);
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
                kAnswerLock,
                {verbose, "Enqueued mux answer message with ID " + id + ". Currently, the Mux have " +
                              std::to_string(count) + " messages in the answer queue, ready to be sent to clients."}};
    }
};

TEST_F(BrenkMuxTranslationSteps, AreLoggedOfAnAnswer) {
    mux.Route(Request(22, "m1", LockData()));
    ExpectAnswerSteps("m1", Found("m1") + Enqueued("m1", 1));
    mux.Route(Request(10, "m2", LockData()));
    ExpectAnswerSteps("m2", Found("m2") + Enqueued("m2", 2));
}

TEST_F(BrenkMuxTranslationSteps, AreLoggedOfALocksStatus) {
    mux.Route(Request(12, "m1", LockData()));
    ExpectAnswerSteps("m1",
                      Found("m1") + Steps{{debug, "Building response to Lock GetStatus message."}} + Enqueued("m1", 1));
}

TEST_F(BrenkMuxTranslationSteps, AreLoggedOfAnAnswerThatNobodyWaitsFor) {
    ExpectAnswerSteps(
        "m1", {{warning, "Received a message from Virtual Gateway with ID m1 that is not in the requests list."}});
}

TEST_F(BrenkMuxTranslationSteps, AreLoggedOfAnAnswerToASequenceRefresh) {
    ExpectAnswerSteps("requestNewSEQID-1",
                      {{debug,
                        "Received a message from Virtual Gateway that is not in the request list, but it's a NEW SEQ "
                        "REQUEST. Probably used as a keep alive for the gateway."}});
}

TEST_F(BrenkMuxTranslationSteps, AreLoggedOfANullAnswer) {
    const MuxLog muxLog(log);
    BrenkMux::VirtualGatewayResponseReceivedCallback(mux.Gateway(), nullptr, &mux);
    muxLog.Expect({{error, "Virtual Gateway message is nullptr."},
                   {debug, "Invoking TranslateMessage callback."},
                   kPendingLock,
                   {warning,
                    "Received a message from Virtual Gateway that is not in the requests list. And it's also "
                    "nullptr."}});
}

TEST_F(BrenkMuxTranslationSteps, AreLoggedOfAnAnswerToACodeThatHasNone) {
    const LogHook answer("Prepare to send message", [this] {
        ExpectAnswerSteps("m1",
                          Found("m1") + Steps{{error,
                                               "Answer message is nullptr. This means that we cannot build a correct "
                                               "answer for this message. Removed from the pending queue."},
                                              {error, "Cannot enqueue a NULL answer message!"}});
    });
    mux.Route(Request(99, "m1"));
    EXPECT_EQ(answer.Runs(), 1);
}

TEST_F(BrenkMuxTranslationSteps, AreLoggedOfEvents) {
    ExpectEventSteps(14, {{info, "READER EVENT. A card was passed on the reader of a smartlock."}});
    ExpectEventSteps(15, {{info, "ACCESS ALLOWED EVENT. A smartlock has let a card in."}});
    ExpectEventSteps(22, {{info, "PING EVENT. It is passed on to the clients as an info event."}});
    ExpectEventSteps(17, {{debug, "Clients are not told of events of type 17."}});
}

// Messages of a time that is known, so that the text of their payload is.
std::unique_ptr<MuxMessage> Nack(const std::string& id) {
    return std::make_unique<MuxMessage>(7, id, MUX_MESSAGE_NACK, MuxMessageBuilder().BuildNackPayload(8, "no"));
}

std::shared_ptr<MuxMessage> Event(const std::string& id) {
    return std::make_shared<MuxMessage>(7, id, MUX_MESSAGE_EVENT_INFO,
                                        MuxMessageBuilder().BuildCardEvent(1, 5, "t", "0A"));
}

std::unique_ptr<MuxRequestRecord> AnswerRecord(int descriptor) {
    auto record = std::make_unique<MuxRequestRecord>(Brenk::Net::ClientIdentity{descriptor, 1}, nullptr);
    record->answer = Nack("m1");
    return record;
}

std::unique_ptr<MuxRequestRecord> EventRecord(int descriptor) {
    return std::make_unique<MuxRequestRecord>(Brenk::Net::ClientIdentity{descriptor, 1}, Event("e1"), true);
}

Steps AnswerAttempt(const std::string& descriptor) {
    return {
        {verbose, "Message m1 popped."},
        {verbose, "Converting NACK Message."},
        {info, "Sending message answer with ID m1 to socket with FD " + descriptor},
        {verbose,
         R"(Message payload: {"Timestamp":7,"MessageID":"m1","MessageCode":1,"Data":{"ErrorCode":8,"Message":"no"}})"}};
}

Steps EventAttempt(const std::string& descriptor) {
    return {{verbose, "Event message e1 popped."},
            {verbose, "Current Message Code: 60"},
            {debug, "Sending event to socket with FD " + descriptor}};
}

class BrenkMuxDeliverySteps : public testing::Test {
  protected:
    void ExpectSteps(int passes, const Steps& steps) {
        const MuxLog muxLog(log);
        for (int pass = 0; pass < passes; ++pass) {
            mux.SendMessageToClientIfAvailable();
        }
        muxLog.Expect(steps);
    }

    const CapturedLog log;
    TestMux mux;
};

TEST_F(BrenkMuxDeliverySteps, AreLoggedOfEachAttemptForAnAnswerAndOfItsEnd) {
    mux.PushAnswer(AnswerRecord(999));
    for (int attempt = 1; attempt < 15; ++attempt) {
        ExpectSteps(1, AnswerAttempt("999"));
    }
    ExpectSteps(2, AnswerAttempt("999") + Steps{{error,
                                                 "Cannot send message to socket with FD 999. Tried 15, I will delete "
                                                 "the answer from queue."}});
}

TEST_F(BrenkMuxDeliverySteps, AreLoggedOfEachAttemptForAnEventAndOfItsEnd) {
    mux.PushAnswer(EventRecord(999));
    for (int attempt = 1; attempt < 15; ++attempt) {
        ExpectSteps(1, EventAttempt("999"));
    }
    ExpectSteps(2, EventAttempt("999") + Steps{{error,
                                                "Cannot send event to socket with FD 999. Tried 15, I will delete the "
                                                "answer from queue."}});
}

TEST_F(BrenkMuxDeliverySteps, AreLoggedOfRecordsThatCannotBeDelivered) {
    mux.PushAnswer(nullptr);
    mux.PushAnswer(std::make_unique<MuxRequestRecord>(Brenk::Net::ClientIdentity{999, 1}, Event("e1")));
    mux.PushAnswer(std::make_unique<MuxRequestRecord>(Brenk::Net::ClientIdentity{999, 1}, nullptr, true));
    ExpectSteps(1, {{error, "Popped message answer is NULL!!!"}});
    ExpectSteps(1, {{error, "AnswerMessage part in the answer message record structure is missing."}});
    ExpectSteps(1, {{error, "Message part in the event record structure is missing."}});
}

// A started Mux without gateways whose one client asks for nothing: its main thread alone logs.
class BrenkMuxDeliveredSteps : public testing::Test {
  protected:
    BrenkMuxDeliveredSteps() {
        mux.Start();
        client = std::make_unique<MuxClient>(port.Number());
        EXPECT_TRUE(log.WaitFor(debug, " accepted."));
        EXPECT_TRUE(log.WaitFor(verbose, "Starting main thread control loop."));
        for (const CapturedLog::Line& line : log.Lines()) {
            const std::size_t begin = line.second.find(kAccepted);
            if (begin != std::string::npos) {
                descriptor = std::stoi(line.second.substr(begin + std::string(kAccepted).size()));
            }
        }
    }

    static constexpr const char* kAccepted = "Client with FD ";

    const ReservedPort port;
    const CapturedLog log;
    TestMux mux{port.Number()};
    std::unique_ptr<MuxClient> client;
    int descriptor = -1;
};

TEST_F(BrenkMuxDeliveredSteps, AreLoggedOfAnAnswer) {
    const MuxLog muxLog(log);
    mux.PushAnswer(AnswerRecord(descriptor));
    ASSERT_TRUE(log.WaitFor(verbose, "Message sent. Deallocating messages memory."));
    muxLog.Expect(AnswerAttempt(std::to_string(descriptor)) +
                  Steps{{verbose, "Message sent. Deallocating messages memory."}});
}

TEST_F(BrenkMuxDeliveredSteps, AreLoggedOfAnEvent) {
    const MuxLog muxLog(log);
    mux.PushAnswer(EventRecord(descriptor));
    ASSERT_TRUE(log.WaitFor(debug, "Event sent. Deallocating messages memory."));
    muxLog.Expect(EventAttempt(std::to_string(descriptor)) +
                  Steps{{debug, "Event sent. Deallocating messages memory."}});
}

}  // namespace
}  // namespace Mux
