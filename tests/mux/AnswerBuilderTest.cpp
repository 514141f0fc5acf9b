#include "mux/AnswerBuilder.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

#include "mux/messages/MuxMessageBuilder.h"
#include "tests/mux/JsonTimestamp.h"
#include "tests/support/CapturedLog.h"

using Brenk::Messages::BrenkGetStatusPayload;
using Brenk::Messages::VG::VirtualGatewayResponseMessage;
using Testing::CapturedLog;
using Testing::WithoutTimestamp;

namespace Mux {
namespace {

constexpr std::int32_t kGatewayID = 3;

// Requests whose answer is an ACK without data, or a NACK with the gateway's code and the short text.
const std::vector<std::int32_t> kPlainRequests = {13, 113, 14, 114, 21, 22, 23, 24, 25};

// Requests to open or close a lock.
const std::vector<std::int32_t> kLockOperations = {10, 110, 11, 111};

// A client's request to lock 17 on gateway 3, as its JSON text gives it.
std::unique_ptr<MuxMessage> Request(std::int32_t code) {
    return MuxMessageBuilder().ParseMessage(R"({"Timestamp":1,"MessageID":"request 1","MessageCode":)" +
                                            std::to_string(code) +
                                            R"(,"Data":{"gatewayID":3,"lockID":17,"duration":5,"cardData":"0A"}})");
}

VirtualGatewayResponseMessage Response(std::uint32_t responseCode) {
    VirtualGatewayResponseMessage response;
    response.requestID = "request 1";
    response.responseCode = responseCode;
    return response;
}

// A status answer; the status bytes stand at offset 17 of the frame.
VirtualGatewayResponseMessage StatusResponse(const std::vector<unsigned char>& status) {
    std::vector<unsigned char> frame(17);
    frame.insert(frame.end(), status.begin(), status.end());
    VirtualGatewayResponseMessage response = Response(0);
    response.statusPayload = std::make_unique<BrenkGetStatusPayload>(frame);
    return response;
}

std::string AnswerTo(std::int32_t code, const VirtualGatewayResponseMessage& response) {
    const auto answer = BuildAnswer(*Request(code), response, kGatewayID);
    return answer == nullptr ? "none" : WithoutTimestamp(answer->ToJSON());
}

std::string Nack(const std::string& errorCode, const std::string& text) {
    return R"({"Timestamp":T,"MessageID":"request 1","MessageCode":1,"Data":{"ErrorCode":)" + errorCode +
           R"(,"Message":")" + text + "\"}}";
}

struct ExpectedTexts {
    std::uint32_t responseCode;
    const char* longText;
    const char* shortText;
};

constexpr ExpectedTexts kErrors[] = {
    {1, "The gateway answered with an unhandled error code 1 for the device with address 17 on gateway 3",
     "Unhandled error code or unknown error."},
    {2, "Already in whitelist for device address 17 on gateway 3", "Already in whitelist."},
    {3, "Whitelist full for device address 17 on gateway 3", "Whitelist full."},
    {4, "Not in whitelist for device address 17 on gateway 3", "Not in whitelist."},
    {5, "", ""},
    {6, "Request not supported for device address 17 on gateway 3", "Request not supported."},
    {8, "No route for device address 17 on gateway 3", "No route for the requested device. "},
    {9, "Datalength mismatch the actual lock configuration.", "Datalength mismatch for the request message."},
    {10, "Request message unexpected for device address 17 on gateway 3", "Request message unexpected."},
    {11, "Setup number mismatch", "Setup number mismatch."},
    {12,
     "System inconsistancy for device address 17 on gateway 3. Check for LN, PHI or other key indexes that doesn't "
     "match the current configuration.",
     "System inconsistancy for the request message."},
    {255, "The gateway answered with an unhandled error code 255 for the device with address 17 on gateway 3",
     "Unhandled error code or unknown error."},
};

TEST(AnswerBuilder, AcknowledgesLockOperationsWithTheirResult) {
    for (const std::int32_t code : kLockOperations) {
        EXPECT_EQ(AnswerTo(code, Response(0)), R"({"Timestamp":T,"MessageID":"request 1","MessageCode":0,)"
                                               R"("Data":{"Success":true,"ErrorCode":0}})")
            << code;
    }
}

TEST(AnswerBuilder, AcknowledgesAllOtherOperationsWithoutData) {
    for (const std::int32_t code : kPlainRequests) {
        EXPECT_EQ(AnswerTo(code, Response(0)), R"({"Timestamp":T,"MessageID":"request 1","MessageCode":0,"Data":{}})")
            << code;
    }
}

TEST(AnswerBuilder, RefusesLockOperationsWithErrorCodeZeroAndTheLongText) {
    for (const std::int32_t code : kLockOperations) {
        for (const ExpectedTexts& error : kErrors) {
            EXPECT_EQ(AnswerTo(code, Response(error.responseCode)), Nack("0", error.longText)) << code;
        }
    }
}

TEST(AnswerBuilder, RefusesAllOtherRequestsWithTheGatewaysCodeAndTheShortText) {
    std::vector<std::int32_t> codes = kPlainRequests;
    codes.push_back(12);
    for (const std::int32_t code : codes) {
        for (const ExpectedTexts& error : kErrors) {
            EXPECT_EQ(AnswerTo(code, Response(error.responseCode)),
                      Nack(std::to_string(error.responseCode), error.shortText))
                << code;
        }
    }
}

TEST(AnswerBuilder, ResponseCode11ReadsWithAFullStopForAWhitelistRequestAndWithoutForALockOpen) {
    EXPECT_EQ(AnswerTo(10, Response(11)), Nack("0", "Setup number mismatch"));
    EXPECT_EQ(AnswerTo(21, Response(11)), Nack("11", "Setup number mismatch."));
}

// Status bytes 0E 00 1C: battery status 2, level 3; mechanical active, warning and alarm.
TEST(AnswerBuilder, TellsALocksStatusInSevenMembers) {
    EXPECT_EQ(AnswerTo(12, StatusResponse({0x0E, 0x00, 0x1C, 0, 0, 0, 0})),
              R"({"Timestamp":T,"MessageID":"request 1","MessageCode":0,"Data":{"BatteryStatus":2,"QoS":3,)"
              R"("MechanicalActive":true,"BatteryWarningLevel":true,"BatteryAlarmLevel":true,)"
              R"("ScandinavianFireMode":false,"ReaderConnected":false}})");
}

TEST(AnswerBuilder, TellsEachStatusFlagByItself) {
    const auto flags = [](unsigned char flagsByte) {
        const std::string json = AnswerTo(12, StatusResponse({0x01, 0xFF, flagsByte, 0xFF, 0xFF, 0xFF, 0xFF}));
        return json.substr(json.find("\"MechanicalActive\""));
    };
    EXPECT_EQ(flags(0x04), R"("MechanicalActive":true,"BatteryWarningLevel":false,"BatteryAlarmLevel":false,)"
                           R"("ScandinavianFireMode":false,"ReaderConnected":false}})");
    EXPECT_EQ(flags(0x08), R"("MechanicalActive":false,"BatteryWarningLevel":true,"BatteryAlarmLevel":false,)"
                           R"("ScandinavianFireMode":false,"ReaderConnected":false}})");
    EXPECT_EQ(flags(0x10), R"("MechanicalActive":false,"BatteryWarningLevel":false,"BatteryAlarmLevel":true,)"
                           R"("ScandinavianFireMode":false,"ReaderConnected":false}})");
    EXPECT_EQ(flags(0x40), R"("MechanicalActive":false,"BatteryWarningLevel":false,"BatteryAlarmLevel":false,)"
                           R"("ScandinavianFireMode":false,"ReaderConnected":true}})");
    EXPECT_EQ(flags(0xA3), R"("MechanicalActive":false,"BatteryWarningLevel":false,"BatteryAlarmLevel":false,)"
                           R"("ScandinavianFireMode":false,"ReaderConnected":false}})");
}

TEST(AnswerBuilder, LogsThatItAnswersAStatusRequest) {
    const CapturedLog log;
    AnswerTo(12, StatusResponse({0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(log.Count(plog::debug, "Building response to Lock GetStatus message."), 1);
}

// A gateway may answer a status request with a bare "OK".
TEST(AnswerBuilder, TellsAStatusOfZerosWhenTheGatewaySentNone) {
    const CapturedLog log;
    EXPECT_EQ(AnswerTo(12, Response(0)),
              R"({"Timestamp":T,"MessageID":"request 1","MessageCode":0,"Data":{"BatteryStatus":0,"QoS":0,)"
              R"("MechanicalActive":false,"BatteryWarningLevel":false,"BatteryAlarmLevel":false,)"
              R"("ScandinavianFireMode":false,"ReaderConnected":false}})");
    EXPECT_EQ(log.Count(plog::warning, "Brenk Lock State payload is nullptr. Cannot parse lock status data."), 1);
}

TEST(AnswerBuilder, CarriesTheRequestsMessageIDAsItIs) {
    const MuxMessage request(1, "\xC3\xA9\"\\\n", 22, {});
    EXPECT_EQ(WithoutTimestamp(BuildAnswer(request, Response(0), kGatewayID)->ToJSON()),
              "{\"Timestamp\":T,\"MessageID\":\"\xC3\xA9\\\"\\\\\\n\",\"MessageCode\":0,\"Data\":{}}");
}

TEST(AnswerBuilder, CarriesTheCurrentTime) {
    const std::time_t before = std::time(nullptr);
    const auto answer = BuildAnswer(*Request(22), Response(0), kGatewayID);
    EXPECT_GE(answer->Timestamp(), before);
    EXPECT_LE(answer->Timestamp(), std::time(nullptr));
}

TEST(AnswerBuilder, BuildsNoneForCodesThatNoGatewayIsAskedFor) {
    for (const std::int32_t code : {0, 1, 2, 9, 15, 20, 26, 50, 51, 60, 100, 112, 115, -1}) {
        EXPECT_EQ(AnswerTo(code, Response(0)), "none") << code;
        EXPECT_EQ(AnswerTo(code, Response(8)), "none") << code;
    }
}

}  // namespace
}  // namespace Mux
