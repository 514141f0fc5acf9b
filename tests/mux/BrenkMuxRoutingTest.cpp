// Requests from the request queue to a gateway, and the NACK for those that are refused, with all log lines.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "mux/BrenkMux.h"
#include "mux/messages/RequestTable.h"
#include "tests/mux/GatewayStates.h"
#include "tests/mux/LogHook.h"
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
using Testing::Request;
using Testing::RequestNack;
using Testing::RoutedCodes;
using Testing::Steps;

namespace Mux {
namespace {

// The lines of a request that is taken out of the queue, up to its routing.
Steps Popped(const std::string& id) {
    return {{verbose, "Popped MuxRequestInfo with ID " + id + " for socket with FD 999."},
            {debug, "SendMessageToVG MutexGuard acquired "}};
}

Steps Prepared(const std::string& id, const std::string& logName) {
    return Popped(id) + Steps{{verbose, "Prepare to send message " + logName}};
}

Steps Prepared(const std::string& id, int code) {
    return Prepared(id, FindRequest(code)->logName);
}

Steps Accepted(const std::string& id) {
    return {{info, "Message correctly enqueued by Virtual Gateway. MessageID: " + id},
            Testing::kPendingLock,
            {verbose, "Message " + id + " sent to VG."}};
}

Steps Refused(const std::string& id, int count = 1) {
    return {{debug, "Message not correctly enqueued by Virtual Gateway. MessageID: " + id},
            {warning, "Enqueuing NACK mux answer " + id + " to the client."},
            {warning, "Enqueued error NACK answer message with ID " + id + ". Currently, the Mux have " +
                          std::to_string(count) + " messages in the answer queue, ready to be sent to clients."}};
}

// A request that its gateway accepts, and the lines between its name and the acceptance.
struct RoutedRow {
    int code;
    const char* data;
    Steps routing;
};

const char* const kLock = R"({"gatewayID":1,"lockID":5})";
const char* const kNoDuration = R"({"gatewayID":1,"lockID":5,"duration":0})";
const char* const kDuration = R"({"gatewayID":1,"lockID":5,"duration":1})";
const char* const kUidCard = R"({"gatewayID":1,"lockID":5,"cardData":"0A","isUIDCard":true})";
const char* const kOtherCard = R"({"gatewayID":1,"lockID":5,"cardData":"0A","isUIDCard":false})";

const RoutedRow kRoutedRows[] = {
    {10, kLock, {}},
    {11, kLock, {}},
    {12, kLock, {}},
    {13, kNoDuration, {}},
    {14, kLock, {}},
    {21, kUidCard, {{debug, "Using AddWhitelistEntry with UID card data type specified."}}},
    {21, kOtherCard, {{debug, "Using AddWhitelistEntry with a different card data type than UID specified."}}},
    {22, kLock, {{debug, "Sending CLEAR_WHITELIST to Virtual Gateway using gateway id1 and device address 5"}}},
    {23, kLock, {}},
    {24, kLock, {}},
    {25, kUidCard, {{debug, "Using RemoveWhitelistEntry with UID card data type specified."}}},
    {25, kOtherCard, {{debug, "Using RemoveWhitelistEntry with a different card data type than UID specified"}}},
    {110, kLock, {}},
    {111, kLock, {}},
    {113, kNoDuration, {{warning, "LOCK_OPEN_CLOSE duration set to zero. Defaulted to 1"}}},
    {113, kDuration, {}},
    {114, kLock, {{debug, "Access denied as a response to a card reader event received."}}},
};

class BrenkMuxRouting : public Testing::MuxWithGateway {
  protected:
    void ExpectSteps(const std::string& request, const Steps& steps) {
        mux.TakeIn(request);
        const MuxLog muxLog(log);
        mux.PopNextMessage();
        muxLog.Expect(steps);
    }

    // Expects `steps`, then the lines of the refusal of m1, and its NACK.
    void ExpectRefusal(const std::string& request, const Steps& steps) {
        ExpectSteps(request, steps + Refused("m1"));
        EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m1"));
        EXPECT_EQ(mux.AnswerCount(), 0U);
        EXPECT_EQ(mux.PendingCount(), 0U);
    }
};

TEST_F(BrenkMuxRouting, HandsEachRoutedCodeToItsGateway) {
    std::size_t number = 0;
    for (const RoutedRow& row : kRoutedRows) {
        SCOPED_TRACE(row.code);
        const std::string id = "m" + std::to_string(++number);
        ExpectSteps(Request(row.code, id, row.data), Prepared(id, row.code) + row.routing + Accepted(id));
    }
    EXPECT_EQ(mux.PendingCount(), number);
    EXPECT_EQ(mux.RequestCount(), 0U);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxRouting, RefusesARequestForAGatewayThatIsNotConfigured) {
    for (const int code : RoutedCodes()) {
        SCOPED_TRACE(code);
        const Steps unknown = {
            {warning, std::string("Cannot find requested gateway for ") + FindRequest(code)->codeName}};
        ExpectRefusal(Request(code, "m1", LockData(9)), Prepared("m1", code) + unknown);
    }
}

TEST_F(BrenkMuxRouting, RefusesARequestWithoutPayload) {
    for (const int code : RoutedCodes()) {
        SCOPED_TRACE(code);
        const std::string text = FindRequest(code)->noPayloadText;
        ExpectRefusal(Request(code, "m1"), Prepared("m1", code) + (text.empty() ? Steps{} : Steps{{error, text}}));
    }
}

TEST_F(BrenkMuxRouting, RefusesARequestThatItsGatewayRefuses) {
    Testing::MakeFaulted(*mux.Gateway());
    for (const RoutedRow& row : kRoutedRows) {
        SCOPED_TRACE(row.code);
        ExpectRefusal(Request(row.code, "m1", row.data), Prepared("m1", row.code) + row.routing);
    }
}

// All but 2, which is never queued.
TEST_F(BrenkMuxRouting, RefusesCodesThatNoGatewayIsAskedFor) {
    std::vector<int> codes = {-10, -1, 0, 1, 266, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};
    for (int code = 3; code < 120; ++code) {
        if (std::count(RoutedCodes().begin(), RoutedCodes().end(), code) == 0) {
            codes.push_back(code);
        }
    }
    int count = 0;
    for (const int code : codes) {
        SCOPED_TRACE(code);
        const Steps unsupported =
            code == 50 ? Steps{{warning,
                                "Access allowed message received, but it's currently not supported by the Brenk "
                                "gateway."}}
                       : Steps{};
        ExpectSteps(Request(code, "m1", LockData()),
                    Prepared("m1", code == 20 ? "WHITELIST GET" : "") + unsupported + Refused("m1", ++count));
    }
    EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m1"));
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxRouting, RefusesEveryRequestBeforeThereIsAGateway) {
    mux.ParseConfiguration("{}");
    for (const int code : RoutedCodes()) {
        SCOPED_TRACE(code);
        ExpectRefusal(Request(code, "m1", LockData()), Popped("m1"));
    }
    mux.Route(R"({"MessageCode":10})");
    EXPECT_EQ(mux.TakeAnswer(log), RequestNack(""));
}

TEST_F(BrenkMuxRouting, TreatsGatewayAndLockZeroLikeAnyOther) {
    ASSERT_TRUE(mux.ParseConfiguration(R"({"Enabled":true,"Gateways":[{"ID":0,"IpAddress":"127.0.0.1","Port":)" +
                                       std::to_string(port.Number()) + "}]}"));
    mux.Route(Request(10, "m1", R"({"gatewayID":0,"lockID":0})"));
    EXPECT_EQ(mux.PendingCount(), 1U);
}

TEST_F(BrenkMuxRouting, TakesOneRequestAPassInTheOrderInWhichTheyCame) {
    const MuxLog muxLog(log);
    mux.PopNextMessage();
    muxLog.Expect({});
    for (const char* const id : {"m1", "m2", "m3"}) {
        mux.TakeIn(Request(10, id, LockData(9)));
    }
    for (std::size_t left = 3; left > 0; --left) {
        EXPECT_EQ(mux.RequestCount(), left);
        EXPECT_EQ(mux.AnswerCount(), 3 - left);
        mux.PopNextMessage();
    }
    for (const char* const id : {"m1", "m2", "m3"}) {
        EXPECT_EQ(mux.TakeAnswer(log), RequestNack(id));
    }
}

TEST_F(BrenkMuxRouting, LogsAnExceptionOnTheWay) {
    const LogHook fault("Prepare to send message", [] { throw std::runtime_error("no memory"); });
    ExpectSteps(Request(10, "m1", LockData()),
                Prepared("m1", 10) + Steps{{error, "Exception throw in pop next message flow."},
                                           {verbose, "Explicit release of mutex guards."},
                                           {debug, "The exception was: no memory"}});
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxRouting, LogsAnExceptionWhileTheNackIsQueued) {
    const LogHook fault("Enqueuing NACK mux answer", [] { throw std::runtime_error("no memory"); });
    ExpectSteps(Request(99, "m1"),
                Prepared("m1", "") + Steps{{debug, "Message not correctly enqueued by Virtual Gateway. MessageID: m1"},
                                           {warning, "Enqueuing NACK mux answer m1 to the client."},
                                           {error, "Exception thrown in enqueuing messages."},
                                           {verbose, "Explicit release of mutex guards."},
                                           {debug, "The exception was: no memory"}});
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxRouting, SkipsAPassWhenItCannotLockAndLosesNothing) {
    mux.TakeIn(Request(10, "m1", LockData()));
    mux.DestroyMutexes();
    mux.PopNextMessage();
    EXPECT_EQ(log.Count(warning, "Cannot acquire client messages queue lock."), 1);
    EXPECT_EQ(mux.RequestCount(), 1U);
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxRouting, LosesTheNackWhenItCannotLockTheAnswerQueue) {
    const LogHook mutexesGone("Popped MuxRequestInfo", [this] { mux.DestroyMutexes(); });
    mux.Route(Request(99, "m1"));
    ASSERT_EQ(mutexesGone.Runs(), 1);
    EXPECT_EQ(log.Count(error,
                        "Cannot acquire mux message lock for enqueued messages. The current message to enqueue will "
                        "be lost."),
              1);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

}  // namespace
}  // namespace Mux
