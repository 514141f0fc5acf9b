#include "mux/AnswerBuilder.h"

#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "mux/messages/MuxMessageBuilder.h"
#include "tests/mux/JsonTimestamp.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"

using Brenk::Messages::VG::VirtualGatewayResponseMessage;
using Testing::CapturedLog;

namespace Mux {
namespace {

constexpr std::int32_t kGatewayID = 3;

// Requests whose answer is an ACK without data, or a NACK with the gateway's code and the short text.
const std::vector<std::int32_t> kPlainRequests = {13, 113, 14, 114, 21, 22, 23, 24, 25};

// Requests to open or close a lock.
const std::vector<std::int32_t> kLockOperations = {10, 110, 11, 111};

// The JSON text of the answer to a client's request for lock 5.
std::string AnswerTo(std::int32_t code, const VirtualGatewayResponseMessage& response) {
    const auto request = MuxMessageBuilder().ParseMessage(Testing::Request(code, "m1", Testing::LockData(kGatewayID)));
    const auto answer = BuildAnswer(*request, response, kGatewayID);
    return answer == nullptr ? "none" : Testing::WithoutTimestamp(answer->ToJSON());
}

std::string AnswerTo(std::int32_t code, std::uint32_t responseCode) {
    VirtualGatewayResponseMessage response;
    response.responseCode = responseCode;
    return AnswerTo(code, response);
}

std::string Ack(const std::string& data) {
    return R"({"Timestamp":T,"MessageID":"m1","MessageCode":0,"Data":)" + data + "}";
}

std::string Nack(std::uint32_t errorCode, const std::string& text) {
    return R"({"Timestamp":T,"MessageID":"m1","MessageCode":1,"Data":{"ErrorCode":)" + std::to_string(errorCode) +
           R"(,"Message":")" + text + "\"}}";
}

TEST(AnswerBuilder, AnswersLockOperationsWithTheirResultOrErrorCodeZeroAndTheLongText) {
    for (const std::int32_t code : kLockOperations) {
        EXPECT_EQ(AnswerTo(code, 0), Ack(R"({"Success":true,"ErrorCode":0})")) << code;
        EXPECT_EQ(AnswerTo(code, 8), Nack(0, LongErrorText(8, 5, kGatewayID))) << code;
    }
}

TEST(AnswerBuilder, AnswersAllOtherRequestsWithoutDataOrWithTheGatewaysCodeAndTheShortText) {
    for (const std::int32_t code : kPlainRequests) {
        EXPECT_EQ(AnswerTo(code, 0), Ack("{}")) << code;
        EXPECT_EQ(AnswerTo(code, 8), Nack(8, ShortErrorText(8))) << code;
    }
    EXPECT_EQ(AnswerTo(12, 255), Nack(255, ShortErrorText(255)));
}

// A counter error is never answered, so the running program never shows its texts.
TEST(AnswerBuilder, HasTheTextsOfUnhandledResultsForACounterError) {
    EXPECT_EQ(LongErrorText(7, -1, -7),
              "The gateway answered with an unhandled error code 7 for the device with address -1 on gateway -7");
    EXPECT_EQ(ShortErrorText(7), ShortErrorText(200));
}

// Status bytes 0E 00 1C: battery status 2, level 3; mechanical active, warning and alarm.
TEST(AnswerBuilder, TellsALocksStatusOfWhichAllIsZeroWhenTheGatewaySentNone) {
    const CapturedLog log;
    VirtualGatewayResponseMessage response;
    std::vector<unsigned char> frame(17);
    frame.insert(frame.end(), {0x0E, 0x00, 0x1C, 0, 0, 0, 0});
    response.statusPayload = std::make_unique<Brenk::Messages::BrenkGetStatusPayload>(frame);
    EXPECT_EQ(AnswerTo(12, response),
              Ack(R"({"BatteryStatus":2,"QoS":3,"MechanicalActive":true,"BatteryWarningLevel":true,)"
                  R"("BatteryAlarmLevel":true,"ScandinavianFireMode":false,"ReaderConnected":false})"));
    EXPECT_EQ(AnswerTo(12, 0),
              Ack(R"({"BatteryStatus":0,"QoS":0,"MechanicalActive":false,"BatteryWarningLevel":false,)"
                  R"("BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":false})"));
    EXPECT_EQ(log.Count(plog::debug, "Building response to Lock GetStatus message."), 2);
    EXPECT_EQ(log.Count(plog::warning, "Brenk Lock State payload is nullptr. Cannot parse lock status data."), 1);
}

TEST(AnswerBuilder, CarriesTheRequestsMessageIDAndTheCurrentTime) {
    const MuxMessage request(1, "\xC3\xA9\"\\\n", 22, {});
    const std::time_t before = std::time(nullptr);
    const auto answer = BuildAnswer(request, {}, kGatewayID);
    EXPECT_EQ(answer->MessageID(), request.MessageID());
    EXPECT_GE(answer->Timestamp(), before);
    EXPECT_LE(answer->Timestamp(), std::time(nullptr));
}

TEST(AnswerBuilder, BuildsNoneForCodesThatNoGatewayIsAskedFor) {
    for (const std::int32_t code : {0, 1, 2, 9, 15, 20, 26, 50, 51, 60, 100, 112, 115, -1}) {
        EXPECT_EQ(AnswerTo(code, 0), "none") << code;
        EXPECT_EQ(AnswerTo(code, 8), "none") << code;
    }
}

}  // namespace
}  // namespace Mux
