// Requests on their way from the request queue to a gateway, and the NACK for those that cannot be handed on.

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "mux/BrenkMux.h"
#include "tests/mux/GatewayStates.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxWithGateway.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"

using Testing::CapturedLog;
using Testing::LockData;
using Testing::LogHook;
using Testing::MuxWithGateway;
using Testing::Request;
using Testing::RequestNack;
using Testing::TestMux;

namespace Mux {
namespace {

const std::vector<int> kRoutedCodes = {10, 11, 12, 13, 14, 21, 22, 23, 24, 25, 110, 111, 113, 114};

// Every code that is no request to a gateway, except 2, which never comes so far.
std::vector<int> UnroutedCodes() {
    std::vector<int> codes = {0,
                              1,
                              3,
                              4,
                              5,
                              6,
                              7,
                              8,
                              9,
                              15,
                              16,
                              17,
                              18,
                              19,
                              20,
                              26,
                              27,
                              28,
                              29,
                              30,
                              50,
                              51,
                              60,
                              99,
                              100,
                              112,
                              115,
                              -1,
                              -10,
                              266,
                              std::numeric_limits<int>::max(),
                              std::numeric_limits<int>::min()};
    for (int code = 101; code < 110; ++code) {
        codes.push_back(code);
    }
    return codes;
}

class BrenkMuxRouting : public MuxWithGateway {};

TEST_F(BrenkMuxRouting, HandsEachRoutedCodeToItsGateway) {
    for (const int code : kRoutedCodes) {
        const std::string id = "m" + std::to_string(code);
        mux.Route(Request(code, id, LockData()));
        EXPECT_EQ(log.Count(plog::info, "Message correctly enqueued by Virtual Gateway. MessageID: " + id), 1);
        EXPECT_EQ(log.Count(plog::verbose, "Message " + id + " sent to VG."), 1);
    }
    EXPECT_EQ(mux.PendingCount(), kRoutedCodes.size());
    EXPECT_EQ(mux.RequestCount(), 0U);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxRouting, AnswersEveryOtherCodeWithTheNack) {
    for (const int code : UnroutedCodes()) {
        mux.Route(Request(code, "m1", LockData()));
        EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m1")) << code;
        EXPECT_EQ(mux.AnswerCount(), 0U);
    }
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxRouting, LogsTheStepsOfARequestThatIsHandedOn) {
    mux.Route(Request(10, "m1", LockData()), 7);
    EXPECT_EQ(Testing::InOrder(log, {"Message m1 sent to VG.", "Prepare to send message LOCK OPEN",
                                     "SendMessageToVG MutexGuard acquired ", "Enqueuing OPEN_LOCK message.",
                                     "Popped MuxRequestInfo with ID m1 for socket with FD 7.",
                                     "Message correctly enqueued by Virtual Gateway. MessageID: m1",
                                     "Requested lock withtout timeout for mutex pendingMessagesListMutex"}),
              (std::vector<std::string>{
                  "Popped MuxRequestInfo with ID m1 for socket with FD 7.", "SendMessageToVG MutexGuard acquired ",
                  "Prepare to send message LOCK OPEN", "Enqueuing OPEN_LOCK message.",
                  "Message correctly enqueued by Virtual Gateway. MessageID: m1",
                  "Requested lock withtout timeout for mutex pendingMessagesListMutex", "Message m1 sent to VG."}))
        << log.Text();
    EXPECT_EQ(log.Count(plog::verbose, "Popped MuxRequestInfo with ID m1 for socket with FD 7."), 1);
    EXPECT_EQ(log.Count(plog::debug, "SendMessageToVG MutexGuard acquired "), 1);
    EXPECT_EQ(log.Count(plog::verbose, "Prepare to send message LOCK OPEN"), 1);
}

TEST_F(BrenkMuxRouting, LogsTheStepsOfARequestThatIsRefused) {
    mux.Route(Request(10, "m1", LockData(9)));
    EXPECT_EQ(log.Count(plog::warning, "Cannot find requested gateway for LOCK_OPEN"), 1);
    EXPECT_EQ(log.Count(plog::debug, "Message not correctly enqueued by Virtual Gateway. MessageID: m1"), 1);
    EXPECT_EQ(log.Count(plog::warning, "Enqueuing NACK mux answer m1 to the client."), 1);
    EXPECT_EQ(log.Count(plog::warning,
                        "Enqueued error NACK answer message with ID m1. Currently, the Mux have 1 messages in the "
                        "answer queue, ready to be sent to clients."),
              1);
    EXPECT_FALSE(log.Holds(plog::verbose, "sent to VG."));
}

TEST_F(BrenkMuxRouting, CountsTheAnswersThatAreQueued) {
    mux.Route(Request(10, "m1", LockData(9)));
    mux.Route(Request(10, "m2", LockData(9)));
    EXPECT_EQ(log.Count(plog::warning,
                        "Enqueued error NACK answer message with ID m2. Currently, the Mux have 2 messages in the "
                        "answer queue, ready to be sent to clients."),
              1);
}

TEST_F(BrenkMuxRouting, ARequestForAGatewayThatIsNotConfiguredIsAnsweredWithANackCarryingItsMessageID) {
    for (const int code : kRoutedCodes) {
        const std::string id = "request " + std::to_string(code);
        mux.Route(Request(code, id, LockData(2)));
        EXPECT_EQ(mux.TakeAnswer(log), RequestNack(id)) << code;
    }
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxRouting, NamesTheCodeWhoseGatewayIsUnknown) {
    struct Named {
        int code;
        const char* name;
    };
    for (const Named& named :
         {Named{10, "LOCK_OPEN"}, Named{11, "LOCK_CLOSE"}, Named{12, "LOCK_GETSTATUS"}, Named{13, "LOCK_OPEN_CLOSE"},
          Named{14, "MUX_MESSAGE_ACCESS_DENIED"}, Named{21, "LOCK_WHITELIST_SET"},
          Named{22, "MUX_MESSAGE_CLEAR_WHITELIST"}, Named{23, "MUX_MESSAGE_ENABLE_WHITELIST"},
          Named{24, "MUX_MESSAGE_DISABLE_WHITELIST"}, Named{25, "LOCK_WHITELIST_REMOVE"}, Named{110, "LOCK_OPEN"},
          Named{111, "LOCK_CLOSE"}, Named{113, "LOCK_OPEN_CLOSE"}, Named{114, "MUX_MESSAGE_ACCESS_DENIED"}}) {
        const std::string text = std::string("Cannot find requested gateway for ") + named.name;
        const int before = log.Count(plog::warning, text);
        mux.Route(Request(named.code, "m1", LockData(2)));
        EXPECT_EQ(log.Count(plog::warning, text), before + 1) << named.code;
    }
}

TEST_F(BrenkMuxRouting, ARequestWithoutPayloadIsAnsweredWithTheNackAndItsErrorText) {
    struct Text {
        int code;
        const char* text;
    };
    for (const Text& expected :
         {Text{12, "Paylaod for LOCK_GETSTATUS is nullptr. Message cannot be routed to gateway."},
          Text{13, "Current data payload for LOCK_OPEN_CLOSE is null. Nothing can be done."},
          Text{14, "MUX_MESSAGE_ACCESS_DENIED payload is nullptr."},
          Text{21, "Current data payload for LOCK_WHITELIST_SET is null. Nothing can be done."},
          Text{22, "MUX_MESSAGE_CLEAR_WHITELIST payload is nullptr."},
          Text{23, "MUX_MESSAGE_ENABLE_WHITELIST payload is nullptr."},
          Text{24, "MUX_MESSAGE_DISABLE_WHITELIST payload is nullptr."},
          Text{25, "Current data payload for LOCK_WHITELIST_REMOVE is null. Nothing can be done."},
          Text{113, "Current data payload for LOCK_OPEN_CLOSE is null. Nothing can be done."},
          Text{114, "MUX_MESSAGE_ACCESS_DENIED payload is nullptr."}}) {
        const int before = log.Count(plog::error, expected.text);
        mux.Route(Request(expected.code, "m1"));
        EXPECT_EQ(log.Count(plog::error, expected.text), before + 1) << expected.code;
        EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m1"));
    }
}

TEST_F(BrenkMuxRouting, OpenAndCloseWithoutPayloadAreAnsweredWithTheNackWithoutAFurtherText) {
    for (const int code : {10, 11, 110, 111}) {
        mux.Route(Request(code, "m1"));
        EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m1")) << code;
    }
    EXPECT_FALSE(log.Holds(plog::error, "SendMessageToVG"));
    EXPECT_FALSE(log.Holds(plog::warning, "Cannot find requested gateway"));
}

TEST_F(BrenkMuxRouting, SaysThatAccessAllowedIsNotSupported) {
    mux.Route(Request(50, "m1", LockData()));
    EXPECT_EQ(log.Count(plog::warning,
                        "Access allowed message received, but it's currently not supported by the Brenk gateway."),
              1);
}

TEST_F(BrenkMuxRouting, NamesTheWhitelistGetThatItCannotDo) {
    mux.Route(Request(20, "m1", LockData()));
    EXPECT_EQ(log.Count(plog::verbose, "Prepare to send message WHITELIST GET"), 1);
}

TEST_F(BrenkMuxRouting, HasNoNameForCodesThatItDoesNotKnow) {
    mux.Route(Request(99, "m1", LockData()));
    EXPECT_EQ(log.Count(plog::verbose, "Prepare to send message "), 1);
}

TEST_F(BrenkMuxRouting, WarnsOfADurationOfZeroOnlyWhenTheRequestAnswersAnEvent) {
    const std::string data = R"({"gatewayID":1,"lockID":5,"duration":0})";
    mux.Route(Request(13, "m1", data));
    EXPECT_FALSE(log.Holds(plog::warning, "LOCK_OPEN_CLOSE duration set to zero. Defaulted to 1"));
    mux.Route(Request(113, "m2", data));
    EXPECT_EQ(log.Count(plog::warning, "LOCK_OPEN_CLOSE duration set to zero. Defaulted to 1"), 1);
    EXPECT_EQ(mux.PendingCount(), 2U);
}

TEST_F(BrenkMuxRouting, SaysThatAnEventIsAnsweredWithAccessDenied) {
    mux.Route(Request(14, "m1", LockData()));
    EXPECT_FALSE(log.Holds(plog::debug, "Access denied as a response to a card reader event received."));
    mux.Route(Request(114, "m2", LockData()));
    EXPECT_EQ(log.Count(plog::debug, "Access denied as a response to a card reader event received."), 1);
}

TEST_F(BrenkMuxRouting, SaysOfWhatKindTheCardOfAWhitelistRequestIs) {
    const std::string uid = R"({"gatewayID":1,"lockID":5,"cardData":"0A","isUIDCard":true})";
    const std::string other = R"({"gatewayID":1,"lockID":5,"cardData":"0A"})";
    mux.Route(Request(21, "m1", uid));
    EXPECT_EQ(log.Count(plog::debug, "Using AddWhitelistEntry with UID card data type specified."), 1);
    mux.Route(Request(21, "m2", other));
    EXPECT_EQ(log.Count(plog::debug, "Using AddWhitelistEntry with a different card data type than UID specified."), 1);
    mux.Route(Request(25, "m3", uid));
    EXPECT_EQ(log.Count(plog::debug, "Using RemoveWhitelistEntry with UID card data type specified."), 1);
    mux.Route(Request(25, "m4", other));
    EXPECT_EQ(log.Count(plog::debug, "Using RemoveWhitelistEntry with a different card data type than UID specified"),
              1);
}

TEST_F(BrenkMuxRouting, NamesTheLockWhoseWhitelistIsCleared) {
    mux.Route(Request(22, "m1", LockData()));
    EXPECT_EQ(
        log.Count(plog::debug, "Sending CLEAR_WHITELIST to Virtual Gateway using gateway id1 and device address 5"), 1);
}

TEST_F(BrenkMuxRouting, ARequestThatTheGatewayRefusesIsAnsweredWithTheNack) {
    Testing::MakeFaulted(*mux.Gateway());
    for (const int code : kRoutedCodes) {
        mux.Route(Request(code, "m1", LockData()));
        EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m1")) << code;
    }
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxRouting, TreatsGatewayAndLockZeroLikeAnyOther) {
    ASSERT_TRUE(mux.ParseConfiguration(R"({"Enabled":true,"Gateways":[{"ID":0,"IpAddress":"127.0.0.1","Port":)" +
                                       std::to_string(port.Number()) + "}]}"));
    mux.Route(Request(10, "m1", R"({"gatewayID":0,"lockID":0})"));
    EXPECT_EQ(mux.PendingCount(), 1U);
}

TEST_F(BrenkMuxRouting, TakesOneRequestAPass) {
    for (const char* const id : {"m1", "m2", "m3"}) {
        mux.TakeIn(Request(10, id, LockData(9)));
    }
    mux.PopNextMessage();
    EXPECT_EQ(mux.RequestCount(), 2U);
    EXPECT_EQ(mux.AnswerCount(), 1U);
    mux.PopNextMessage();
    EXPECT_EQ(mux.RequestCount(), 1U);
}

TEST_F(BrenkMuxRouting, TakesRequestsInTheOrderInWhichTheyCame) {
    for (const char* const id : {"m1", "m2", "m3"}) {
        mux.TakeIn(Request(10, id, LockData(9)));
    }
    for (int pass = 0; pass < 3; ++pass) {
        mux.PopNextMessage();
    }
    EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m1"));
    EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m2"));
    EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m3"));
}

TEST_F(BrenkMuxRouting, SkipsAPassWhenItCannotLockAndLosesNothing) {
    mux.TakeIn(Request(10, "m1", LockData()));
    mux.DestroyMutexes();
    mux.PopNextMessage();
    EXPECT_EQ(log.Count(plog::warning, "Cannot acquire client messages queue lock."), 1);
    EXPECT_EQ(mux.RequestCount(), 1U);
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxRouting, LosesTheNackWhenItCannotLockTheAnswerQueue) {
    const LogHook mutexesGone("Popped MuxRequestInfo", [this] { mux.DestroyMutexes(); });
    mux.Route(Request(99, "m1"));
    ASSERT_EQ(mutexesGone.Runs(), 1);
    EXPECT_EQ(log.Count(plog::error,
                        "Cannot acquire mux message lock for enqueued messages. The current message to enqueue will "
                        "be lost."),
              1);
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxRouting, DoesNothingWhenNoRequestWaits) {
    const std::size_t before = log.Lines().size();
    mux.PopNextMessage();
    EXPECT_EQ(mux.AnswerCount(), 0U);
    EXPECT_FALSE(log.Holds(plog::verbose, "Popped MuxRequestInfo"));
    EXPECT_GE(log.Lines().size(), before);
}

TEST(BrenkMuxWithoutConfiguration, AnswersEveryRequestWithTheNack) {
    const CapturedLog log;
    TestMux mux;
    for (const int code : kRoutedCodes) {
        mux.Route(Request(code, "m1", LockData()));
        EXPECT_EQ(mux.TakeAnswer(log), RequestNack("m1")) << code;
    }
    EXPECT_FALSE(log.Holds(plog::verbose, "Prepare to send message"));
    EXPECT_FALSE(log.Holds(plog::warning, "Cannot find requested gateway"));
    EXPECT_EQ(log.Count(plog::debug, "Message not correctly enqueued by Virtual Gateway. MessageID: m1"),
              static_cast<int>(kRoutedCodes.size()));
}

TEST(BrenkMuxWithoutConfiguration, AnswersARequestWithoutMessageIDWithAnEmptyOne) {
    const CapturedLog log;
    TestMux mux;
    mux.Route(R"({"MessageCode":10})");
    EXPECT_EQ(mux.TakeAnswer(log), RequestNack(""));
}

}  // namespace
}  // namespace Mux
