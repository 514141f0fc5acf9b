// What the Mux logs of a request from its packet to its gateway: every line with its severity, in its order, and no
// other line.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "mux/BrenkMux.h"
#include "tests/mux/GatewayStates.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxClient.h"
#include "tests/mux/MuxLog.h"
#include "tests/mux/MuxWithGateway.h"
#include "tests/mux/TestMux.h"

using plog::debug;
using plog::error;
using plog::info;
using plog::verbose;
using plog::warning;
using Testing::LockData;
using Testing::LogHook;
using Testing::MuxLog;
using Testing::MuxWithGateway;
using Testing::Request;
using Testing::Step;
using Testing::Steps;

namespace Mux {
namespace {

const Step kClientLock = {warning, "Requested lock withtout timeout for mutex clientMessageQueueMutex"};
const Step kPendingLock = {warning, "Requested lock withtout timeout for mutex pendingMessagesListMutex"};

// What is logged of every packet, up to the parser.
Steps Received(const std::string& json) {
    return {{verbose, "Data callback hit."},
            {debug, "[Mux::ServerSocketClientDataReceived] - Data received from socket with FD 7. Data size: " +
                        std::to_string(json.size() + 6)},
            {verbose, "The string contained is: " + json + ". I will try to parse message."},
            {verbose, "Message received is of size > 0."},
            {debug, "Received message JSON: " + json}};
}

class BrenkMuxIntakeSteps : public MuxWithGateway {
  protected:
    void ExpectSteps(const std::string& json, const Steps& further) {
        const MuxLog muxLog(log);
        BrenkMux::ServerSocketClientDataReceived(7, new std::vector<unsigned char>(Testing::Packet(json)), &mux);
        muxLog.Expect(Received(json) + further);
    }
};

TEST_F(BrenkMuxIntakeSteps, AreLoggedOfARequest) {
    ExpectSteps(Request(10, "m1", LockData()), {{verbose, "Parsed received message."},
                                                {debug, "The message is LOCK_OPEN, and the lockID is 5 on gateway 1"},
                                                kClientLock,
                                                {debug, "Message enqueued. The queue is currently 1 elements long."}});
}

TEST_F(BrenkMuxIntakeSteps, AreLoggedOfARequestToCloseWhichTheParserLogsToo) {
    ExpectSteps(Request(111, "m1", LockData()), {{debug, "MuxMessageBuilder - gatewayID :1 lockID :5"},
                                                 {verbose, "Parsed received message."},
                                                 {debug, "The message is LOCK_CLOSE, and the lockID is 5 on gateway 1"},
                                                 kClientLock,
                                                 {debug, "Message enqueued. The queue is currently 1 elements long."}});
}

TEST_F(BrenkMuxIntakeSteps, AreLoggedOfARequestWithoutPayload) {
    ExpectSteps(Request(13), {{verbose, "Parsed received message."},
                              {error, "The message LOCK_OPEN_CLOSE is nullptr."},
                              kClientLock,
                              {debug, "Message enqueued. The queue is currently 1 elements long."}});
}

TEST_F(BrenkMuxIntakeSteps, AreLoggedOfCodesThatAreNoRequestsToALock) {
    std::size_t count = 0;
    for (const int code : {0, 1, 9, 20, 50, 51, 60, 112, 115}) {
        ExpectSteps(Request(code, "m1", LockData()), {{verbose, "Parsed received message."},
                                                      kClientLock,
                                                      {debug, "Message enqueued. The queue is currently " +
                                                                  std::to_string(++count) + " elements long."}});
    }
}

TEST_F(BrenkMuxIntakeSteps, AreLoggedOfAConfigureMessageWhichEndsThere) {
    ExpectSteps(
        Request(2, "m1", R"({"Enabled":true})"),
        {{verbose, "Parsed received message."}, {warning, "Configure via network message currently not supported."}});
}

TEST_F(BrenkMuxIntakeSteps, AreLoggedOfTextThatDoesNotParse) {
    ExpectSteps("no JSON", {});
}

TEST_F(BrenkMuxIntakeSteps, AreNotLoggedOfBytesThatAreNoPacket) {
    const MuxLog muxLog(log);
    BrenkMux::ServerSocketClientDataReceived(7, new std::vector<unsigned char>{1, 2, 3}, &mux);
    muxLog.Expect({{verbose, "Data callback hit."}});
}

// What is logged of a request on its way into a gateway, up to the routing.
Steps Popped(const std::string& id) {
    return {{verbose, "Popped MuxRequestInfo with ID " + id + " for socket with FD 999."},
            {debug, "SendMessageToVG MutexGuard acquired "}};
}

Steps Accepted(const std::string& id) {
    return {{info, "Message correctly enqueued by Virtual Gateway. MessageID: " + id},
            kPendingLock,
            {verbose, "Message " + id + " sent to VG."}};
}

Steps Refused(const std::string& id, std::size_t count) {
    return {{debug, "Message not correctly enqueued by Virtual Gateway. MessageID: " + id},
            {warning, "Enqueuing NACK mux answer " + id + " to the client."},
            {warning, "Enqueued error NACK answer message with ID " + id + ". Currently, the Mux have " +
                          std::to_string(count) + " messages in the answer queue, ready to be sent to clients."}};
}

struct RoutedRow {
    int code;
    const char* logName;
    const char* codeName;
    const char* data;
    Steps routing;  // between the log name and the gateway's yes
    Steps noPayload;
};

const char* const kLock = R"({"gatewayID":1,"lockID":5})";
const char* const kNoDuration = R"({"gatewayID":1,"lockID":5,"duration":0})";
const char* const kUidCard = R"({"gatewayID":1,"lockID":5,"cardData":"0A","isUIDCard":true})";
const char* const kOtherCard = R"({"gatewayID":1,"lockID":5,"cardData":"0A","isUIDCard":false})";

const Steps kNoOpenClose = {{error, "Current data payload for LOCK_OPEN_CLOSE is null. Nothing can be done."}};
const Steps kNoDenied = {{error, "MUX_MESSAGE_ACCESS_DENIED payload is nullptr."}};
const Steps kNoSet = {{error, "Current data payload for LOCK_WHITELIST_SET is null. Nothing can be done."}};
const Steps kNoRemove = {{error, "Current data payload for LOCK_WHITELIST_REMOVE is null. Nothing can be done."}};

const RoutedRow kRoutedRows[] = {
    {10, "LOCK OPEN", "LOCK_OPEN", kLock, {}, {}},
    {11, "LOCK CLOSE", "LOCK_CLOSE", kLock, {}, {}},
    {12,
     "LOCK GET-STATUS",
     "LOCK_GETSTATUS",
     kLock,
     {},
     {{error, "Paylaod for LOCK_GETSTATUS is nullptr. Message cannot be routed to gateway."}}},
    {13, "LOCK OPEN-CLOSE", "LOCK_OPEN_CLOSE", kNoDuration, {}, kNoOpenClose},
    {14, "ACCESS DENIED", "MUX_MESSAGE_ACCESS_DENIED", kLock, {}, kNoDenied},
    {21,
     "WHITELIST SET",
     "LOCK_WHITELIST_SET",
     kUidCard,
     {{debug, "Using AddWhitelistEntry with UID card data type specified."}},
     kNoSet},
    {21,
     "WHITELIST SET",
     "LOCK_WHITELIST_SET",
     kOtherCard,
     {{debug, "Using AddWhitelistEntry with a different card data type than UID specified."}},
     kNoSet},
    {22,
     "WHITELIST CLEAR",
     "MUX_MESSAGE_CLEAR_WHITELIST",
     kLock,
     {{debug, "Sending CLEAR_WHITELIST to Virtual Gateway using gateway id1 and device address 5"}},
     {{error, "MUX_MESSAGE_CLEAR_WHITELIST payload is nullptr."}}},
    {23,
     "WHITELIST ENABLE",
     "MUX_MESSAGE_ENABLE_WHITELIST",
     kLock,
     {},
     {{error, "MUX_MESSAGE_ENABLE_WHITELIST payload is nullptr."}}},
    {24,
     "WHITELIST DISABLE",
     "MUX_MESSAGE_DISABLE_WHITELIST",
     kLock,
     {},
     {{error, "MUX_MESSAGE_DISABLE_WHITELIST payload is nullptr."}}},
    {25,
     "",
     "LOCK_WHITELIST_REMOVE",
     kUidCard,
     {{debug, "Using RemoveWhitelistEntry with UID card data type specified."}},
     kNoRemove},
    {25,
     "",
     "LOCK_WHITELIST_REMOVE",
     kOtherCard,
     {{debug, "Using RemoveWhitelistEntry with a different card data type than UID specified"}},
     kNoRemove},
    {110, "LOCK OPEN EVENT RESPONSE", "LOCK_OPEN", kLock, {}, {}},
    {111, "LOCK CLOSE EVENT RESPONSE", "LOCK_CLOSE", kLock, {}, {}},
    {113,
     "LOCK OPEN-CLOSE EVENT RESPONSE",
     "LOCK_OPEN_CLOSE",
     kNoDuration,
     {{warning, "LOCK_OPEN_CLOSE duration set to zero. Defaulted to 1"}},
     kNoOpenClose},
    {113,
     "LOCK OPEN-CLOSE EVENT RESPONSE",
     "LOCK_OPEN_CLOSE",
     R"({"gatewayID":1,"lockID":5,"duration":1})",
     {},
     kNoOpenClose},
    {114,
     "EVENT ACCESS DENIED",
     "MUX_MESSAGE_ACCESS_DENIED",
     kLock,
     {{debug, "Access denied as a response to a card reader event received."}},
     kNoDenied},
};

class BrenkMuxRoutingSteps : public MuxWithGateway {
  protected:
    void ExpectSteps(const std::string& request, const Steps& steps) {
        mux.TakeIn(request);
        const MuxLog muxLog(log);
        mux.PopNextMessage();
        muxLog.Expect(steps);
    }

    Steps Prepared(const std::string& id, const std::string& logName) const {
        return Popped(id) + Steps{{verbose, "Prepare to send message " + logName}};
    }
};

TEST_F(BrenkMuxRoutingSteps, AreLoggedOfEveryRequestThatItsGatewayTakes) {
    int number = 0;
    for (const RoutedRow& row : kRoutedRows) {
        SCOPED_TRACE(row.code);
        const std::string id = "m" + std::to_string(++number);
        ExpectSteps(Request(row.code, id, row.data), Prepared(id, row.logName) + row.routing + Accepted(id));
    }
}

TEST_F(BrenkMuxRoutingSteps, AreLoggedOfEveryRequestForAGatewayThatIsNotConfigured) {
    std::size_t count = 0;
    for (const RoutedRow& row : kRoutedRows) {
        SCOPED_TRACE(row.code);
        const Steps unknown = {{warning, std::string("Cannot find requested gateway for ") + row.codeName}};
        ExpectSteps(Request(row.code, "m1", LockData(9)),
                    Prepared("m1", row.logName) + unknown + Refused("m1", ++count));
    }
}

TEST_F(BrenkMuxRoutingSteps, AreLoggedOfEveryRequestWithoutPayload) {
    std::size_t count = 0;
    for (const RoutedRow& row : kRoutedRows) {
        SCOPED_TRACE(row.code);
        ExpectSteps(Request(row.code, "m1"), Prepared("m1", row.logName) + row.noPayload + Refused("m1", ++count));
    }
}

TEST_F(BrenkMuxRoutingSteps, AreLoggedOfEveryRequestThatItsGatewayRefuses) {
    Testing::MakeFaulted(*mux.Gateway());
    std::size_t count = 0;
    for (const RoutedRow& row : kRoutedRows) {
        SCOPED_TRACE(row.code);
        ExpectSteps(Request(row.code, "m1", row.data),
                    Prepared("m1", row.logName) + row.routing + Refused("m1", ++count));
    }
}

TEST_F(BrenkMuxRoutingSteps, AreLoggedOfCodesThatNoGatewayIsAskedFor) {
    ExpectSteps(Request(20, "m1", LockData()), Prepared("m1", "WHITELIST GET") + Refused("m1", 1));
    ExpectSteps(Request(50, "m2", LockData()),
                Prepared("m2", "") +
                    Steps{{warning,
                           "Access allowed message received, but it's currently not supported by the Brenk gateway."}} +
                    Refused("m2", 2));
    ExpectSteps(Request(112, "m3", LockData()), Prepared("m3", "") + Refused("m3", 3));
}

TEST_F(BrenkMuxRoutingSteps, AreLoggedOfRequestsBeforeThereIsAConfiguration) {
    mux.ParseConfiguration("{}");
    for (std::size_t count = 1; count <= 2; ++count) {
        ExpectSteps(Request(10, "m1", LockData()), Popped("m1") + Refused("m1", count));
    }
}

TEST_F(BrenkMuxRoutingSteps, AreLoggedOfAnExceptionOnTheWay) {
    const LogHook fault("Prepare to send message", [] { throw std::runtime_error("no memory"); });
    ExpectSteps(Request(10, "m1", LockData()),
                Prepared("m1", "LOCK OPEN") + Steps{{error, "Exception throw in pop next message flow."},
                                                    {verbose, "Explicit release of mutex guards."},
                                                    {debug, "The exception was: no memory"}});
}

TEST_F(BrenkMuxRoutingSteps, AreLoggedOfAnExceptionWhileTheNackIsQueued) {
    const LogHook fault("Enqueuing NACK mux answer", [] { throw std::runtime_error("no memory"); });
    ExpectSteps(Request(99, "m1"),
                Prepared("m1", "") + Steps{{debug, "Message not correctly enqueued by Virtual Gateway. MessageID: m1"},
                                           {warning, "Enqueuing NACK mux answer m1 to the client."},
                                           {error, "Exception thrown in enqueuing messages."},
                                           {verbose, "Explicit release of mutex guards."},
                                           {debug, "The exception was: no memory"}});
}

TEST_F(BrenkMuxRoutingSteps, AreNotLoggedWhileNoRequestWaits) {
    const MuxLog muxLog(log);
    mux.PopNextMessage();
    muxLog.Expect({});
}

}  // namespace
}  // namespace Mux
