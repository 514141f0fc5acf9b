// Requests as they arrive at a gateway, byte by byte. The expected frames were written by hand: total length, magic
// FE FD, remaining length, version 1, two reserved bytes; then the lock's address, the command and its payload. What
// depends on the moment (reference ID, sequence counter, checksum) is left out.

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "mux/BrenkMux.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"
#include "tests/support/WaitUntil.h"

using Testing::CapturedLog;
using Testing::ConfigurationText;
using Testing::LockData;
using Testing::Request;
using Testing::TestMux;
using Testing::TimelessPart;
using Testing::WaitUntil;
using Testing::WireGateway;

namespace Mux {
namespace {

struct WireCase {
    const char* name;
    int code;
    const char* data;
    const char* frame;
};

std::ostream& operator<<(std::ostream& output, const WireCase& wireCase) {
    return output << wireCase.name;
}

const char* const kLock5 = R"({"gatewayID":1,"lockID":5})";
const char* const kCard =
    R"({"gatewayID":1,"lockID":5,"setupNumber":2,"options":1,"cardData":"A1B2C3","isUIDCard":false})";

const WireCase kWireCases[] = {
    {"LockOpen", 10, kLock5, "17 FE FD 12 01 00 00 00 00 00 05 0A 00 00 00 00"},
    {"LockOpenAnsweringAnEvent", 110, kLock5, "17 FE FD 12 01 00 00 00 00 00 05 8A 00 00 00 00"},
    {"LockClose", 11, kLock5, "15 FE FD 10 01 00 00 00 00 00 05 0B 00 00"},
    {"LockCloseAnsweringAnEvent", 111, kLock5, "15 FE FD 10 01 00 00 00 00 00 05 8B 00 00"},
    {"GetStatus", 12, kLock5, "13 FE FD 0E 01 00 00 00 00 00 05 01"},
    {"OpenCloseWithItsDuration", 13, R"({"gatewayID":1,"lockID":5,"duration":7})",
     "14 FE FD 0F 01 00 00 00 00 00 05 09 07"},
    {"OpenCloseWithDurationZeroReachesTheGatewayWithDurationOne", 13, R"({"gatewayID":1,"lockID":5,"duration":0})",
     "14 FE FD 0F 01 00 00 00 00 00 05 09 01"},
    {"OpenCloseWithADurationOf256ReachesTheGatewayWithDurationOne", 13, R"({"gatewayID":1,"lockID":5,"duration":256})",
     "14 FE FD 0F 01 00 00 00 00 00 05 09 01"},
    {"OpenCloseAnsweringAnEvent", 113, R"({"gatewayID":1,"lockID":5,"duration":255})",
     "14 FE FD 0F 01 00 00 00 00 00 05 89 FF"},
    {"OpenCloseAnsweringAnEventWithDurationZero", 113, R"({"gatewayID":1,"lockID":5,"duration":0})",
     "14 FE FD 0F 01 00 00 00 00 00 05 89 01"},
    {"AccessDenied", 14, kLock5, "13 FE FD 0E 01 00 00 00 00 00 05 08"},
    {"AccessDeniedAnsweringAnEvent", 114, kLock5, "13 FE FD 0E 01 00 00 00 00 00 05 88"},
    {"WhitelistSet", 21, kCard, "19 FE FD 14 01 00 00 00 00 00 05 03 02 01 03 C3 B2 A1"},
    {"WhitelistSetWithoutOptions", 21, R"({"gatewayID":1,"lockID":5,"setupNumber":2,"cardData":"A1B2C3"})",
     "19 FE FD 14 01 00 00 00 00 00 05 03 02 00 03 C3 B2 A1"},
    {"WhitelistSetWithLargeOptionsAndTheLowByteOfTheSetupNumber", 21,
     R"({"gatewayID":1,"lockID":5,"setupNumber":258,"options":4096,"cardData":"A1B2C3"})",
     "19 FE FD 14 01 00 00 00 00 00 05 03 02 01 03 C3 B2 A1"},
    {"WhitelistSetOfAUIDCard", 21,
     R"({"gatewayID":1,"lockID":5,"setupNumber":2,"cardData":"04A1B2C3","isUIDCard":true})",
     "20 FE FD 1B 01 00 00 00 00 00 05 03 00 00 0A 00 00 00 00 00 00 04 A1 B2 C3"},
    {"WhitelistRemove", 25, kCard, "19 FE FD 14 01 00 00 00 00 00 05 04 02 00 03 C3 B2 A1"},
    {"WhitelistRemoveOfAUIDCard", 25,
     R"({"gatewayID":1,"lockID":5,"setupNumber":2,"options":1,"cardData":"04A1B2C3","isUIDCard":true})",
     "20 FE FD 1B 01 00 00 00 00 00 05 04 00 00 0A 00 00 00 00 00 00 04 A1 B2 C3"},
    {"WhitelistClear", 22, kLock5, "13 FE FD 0E 01 00 00 00 00 00 05 05"},
    {"WhitelistEnable", 23, kLock5, "13 FE FD 0E 01 00 00 00 00 00 05 07"},
    {"WhitelistDisable", 24, kLock5, "13 FE FD 0E 01 00 00 00 00 00 05 06"},
    {"ANegativeLock", 12, R"({"gatewayID":1,"lockID":-2})", "13 FE FD 0E 01 00 00 FF FF FF FE 01"},
};

class BrenkMuxWire : public testing::TestWithParam<WireCase> {
  protected:
    BrenkMuxWire() {
        mux.ParseConfiguration(ConfigurationText({gateway.Port()}));
        EXPECT_TRUE(mux.Gateway()->Connect(false));
        gateway.Accept();
    }

    WireGateway gateway;
    const CapturedLog log;
    TestMux mux;
};

TEST_P(BrenkMuxWire, Sends) {
    mux.Route(Request(GetParam().code, "m1", GetParam().data));
    EXPECT_EQ(TimelessPart(gateway.ReceiveRequest()), GetParam().frame) << log.Text();
}

INSTANTIATE_TEST_SUITE_P(EveryRoutedCode, BrenkMuxWire, testing::ValuesIn(kWireCases),
                         [](const auto& test) { return test.param.name; });

class BrenkMuxAnswers : public BrenkMuxWire {};

TEST_F(BrenkMuxAnswers, QueuesTheAnswerThatTheGatewaySends) {
    mux.Route(Request(10, "m1", LockData()));
    gateway.Answer(gateway.ReceiveRequest(), 0);
    ASSERT_TRUE(WaitUntil([this] { return mux.AnswerCount() == 1; })) << log.Text();
    EXPECT_EQ(mux.PendingCount(), 0U);
    EXPECT_EQ(mux.TakeAnswer(log),
              R"({"Timestamp":T,"MessageID":"m1","MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})");
}

TEST_F(BrenkMuxAnswers, QueuesTheRefusalThatTheGatewaySends) {
    mux.Route(Request(21, "m1", LockData()));
    gateway.Answer(gateway.ReceiveRequest(), 3);
    ASSERT_TRUE(WaitUntil([this] { return mux.AnswerCount() == 1; })) << log.Text();
    EXPECT_EQ(mux.TakeAnswer(log), R"({"Timestamp":T,"MessageID":"m1","MessageCode":1,)"
                                   R"("Data":{"ErrorCode":3,"Message":"Whitelist full."}})");
}

// A bare "OK" to a sequence refresh is the gateway's business alone.
TEST_F(BrenkMuxAnswers, ToASequenceRefreshReachNoClient) {
    gateway.Answer(gateway.ReceiveFrame(), 0);
    ASSERT_TRUE(log.WaitFor(plog::debug, "The callback will be excluded."));
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

}  // namespace
}  // namespace Mux
