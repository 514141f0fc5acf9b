// Every request with every result that a gateway can answer it with.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/system/support/ExchangeRunner.h"
#include "tools/gateway-simulator/FrameCodec.h"

namespace SystemTest {
namespace {

struct RequestRow {
    const char* name;
    int code;
    const char* members;
    // From the code on; the lock is always the same.
    const char* frame;
    // What a result of 0 is answered with.
    Answer success;
};

const Answer kOperation = Ack(R"({"Success":true,"ErrorCode":0})");
// A result that says OK and brings no status.
const Answer kEmptyStatus =
    Ack(R"({"BatteryStatus":0,"QoS":0,"MechanicalActive":false,"BatteryWarningLevel":false,"BatteryAlarmLevel":false,)"
        R"("ScandinavianFireMode":false,"ReaderConnected":false})");

constexpr const char* kCard = R"(,"setupNumber":0,"options":1,"cardData":"04A1","isUIDCard":false)";

const std::vector<RequestRow> kOpenAndClose = {
    {"open", 10, "", "0A 00000000", kOperation},
    {"close", 11, "", "0B 0000", kOperation},
    {"open as response", 110, "", "8A 00000000", kOperation},
    {"close as response", 111, "", "8B 0000", kOperation},
};

const std::vector<RequestRow> kOthers = {
    {"status", 12, "", "01", kEmptyStatus},
    {"open and close", 13, R"(,"duration":7)", "09 07", Ack()},
    {"access denied", 14, "", "08", Ack()},
    {"add card", 21, kCard, "03 00 01 02 A104", Ack()},
    {"clear whitelist", 22, "", "05", Ack()},
    {"enable whitelist", 23, "", "07", Ack()},
    {"disable whitelist", 24, "", "06", Ack()},
    {"remove card", 25, kCard, "04 00 00 02 A104", Ack()},
    {"open and close as response", 113, R"(,"duration":7)", "89 07", Ack()},
    {"access denied as response", 114, "", "88", Ack()},
};

struct ResultRow {
    int result;
    const char* text;
};

// For opening and closing: the error code of the answer is 0, the lock is 4711, @G the gateway.
const std::vector<ResultRow> kLongTexts = {
    {1, "The gateway answered with an unhandled error code 1 for the device with address 4711 on gateway @G"},
    {2, "Already in whitelist for device address 4711 on gateway @G"},
    {3, "Whitelist full for device address 4711 on gateway @G"},
    {4, "Not in whitelist for device address 4711 on gateway @G"},
    {5, ""},
    {6, "Request not supported for device address 4711 on gateway @G"},
    {8, "No route for device address 4711 on gateway @G"},
    {9, "Datalength mismatch the actual lock configuration."},
    {10, "Request message unexpected for device address 4711 on gateway @G"},
    {11, "Setup number mismatch"},
    {12,
     "System inconsistancy for device address 4711 on gateway @G. Check for LN, PHI or other key indexes that "
     "doesn't match the current configuration."},
    {13, "The gateway answered with an unhandled error code 13 for the device with address 4711 on gateway @G"},
    {200, "The gateway answered with an unhandled error code 200 for the device with address 4711 on gateway @G"},
    {255, "The gateway answered with an unhandled error code 255 for the device with address 4711 on gateway @G"},
};

// For all other requests: the error code of the answer is the result.
const std::vector<ResultRow> kShortTexts = {
    {1, "Unhandled error code or unknown error."},
    {2, "Already in whitelist."},
    {3, "Whitelist full."},
    {4, "Not in whitelist."},
    {5, ""},
    {6, "Request not supported."},
    {8, "No route for the requested device. "},
    {9, "Datalength mismatch for the request message."},
    {10, "Request message unexpected."},
    {11, "Setup number mismatch."},
    {12, "System inconsistancy for the request message."},
    {13, "Unhandled error code or unknown error."},
    {200, "Unhandled error code or unknown error."},
    {255, "Unhandled error code or unknown error."},
};

// What the gateway's connection logs of a result before the answer is built.
std::string LogOf(int result) {
    switch (result) {
        case 2:
            return "Requested to add a new whitelist entry, but this value is already in the whitelist";
        case 3:
            return "Requested to add a new whitelist entry, but the whitelist is full.";
        case 4:
            return "Requested to remove whitelist entry, but this value is not in the whitelist";
        case 8:
            return "Receied BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR.";
        case 9:
            return "Requested an operation to the device whitelist, but the length of the data mismatch required "
                   "length.";
        case 10:
            return "Response from gateway: MESSAGE_UNESPECTED.";
        default:
            return "Response core from gateway: " + std::to_string(result);
    }
}

Exchange ForcedResult(const RequestRow& request, int result, const Answer& answer, const std::string& log) {
    return {std::string(request.name) + ", result " + std::to_string(result),
            Request(request.code, std::string(R"("lockID":4711)") + request.members),
            std::string("00001267") + request.frame,
            answer,
            "fault force-result " + std::to_string(result),
            log};
}

enum class ErrorCode { kZero, kResult };

std::vector<Exchange> AllResults(const RequestRow& request, const std::vector<ResultRow>& results, ErrorCode code) {
    std::vector<Exchange> table = {
        ForcedResult(request, 0, request.success, "Response from gateway: OK for message with ID @I")};
    for (const ResultRow& row : results) {
        const Answer answer = Nack(code == ErrorCode::kZero ? 0 : row.result, row.text);
        table.push_back(ForcedResult(request, row.result, answer, LogOf(row.result)));
    }
    return table;
}

// One gateway for each request, so that all of them go at the same time.
SystemSetup OneGatewayForEach(const std::vector<RequestRow>& requests) {
    std::vector<GatewaySetup> gateways;
    gateways.reserve(requests.size());
    for (const RequestRow& request : requests) {
        gateways.push_back({200 + request.code, {4711}, 1000});
    }
    return WithGateways(gateways);
}

void RunAllResults(const std::vector<RequestRow>& requests, const std::vector<ResultRow>& results, ErrorCode code) {
    MuxSystem system(OneGatewayForEach(requests));
    std::vector<std::vector<Exchange>> tables;
    tables.reserve(requests.size());
    for (const RequestRow& request : requests) {
        tables.push_back(AllResults(request, results, code));
    }
    ExchangeRunner(system).RunSideBySide(tables);
}

TEST(ResultTables, OpeningAndClosingIsAnsweredWithTheLongTexts) {
    RunAllResults(kOpenAndClose, kLongTexts, ErrorCode::kZero);
}

TEST(ResultTables, EveryOtherRequestIsAnsweredWithTheShortTexts) {
    RunAllResults(kOthers, kShortTexts, ErrorCode::kResult);
}

// A counter error is between the Mux and the gateway: the client is told nothing, and the next request has the
// counter that the gateway announced.
TEST(ResultTables, ACounterErrorIsNeverAnsweredAndSetsTheCounter) {
    std::vector<RequestRow> requests = kOpenAndClose;
    requests.insert(requests.end(), kOthers.begin(), kOthers.end());
    MuxSystem system(OneGatewayForEach(requests));
    ExchangeRunner runner(system);
    std::vector<std::vector<Exchange>> refused;
    std::vector<std::vector<Exchange>> accepted;
    for (const RequestRow& request : requests) {
        const std::string counter = std::to_string(500000 + 1000 * request.code);
        Exchange exchange = ForcedResult(request, 7, {}, "");
        exchange.answer.reset();
        exchange.gateway = "counter " + counter;
        exchange.log = "Received new sequence number. The current SEQ is " + counter;
        refused.push_back({exchange});
        accepted.push_back({ForcedResult(request, 0, request.success, "")});
    }
    runner.RunSideBySide(refused);
    for (std::size_t index = 0; index < requests.size(); ++index) {
        runner.NextFrame(index).sequenceCounter = static_cast<std::uint32_t>(500001 + 1000 * requests.at(index).code);
    }
    runner.RunSideBySide(accepted);
}

// To what asked for no status, a status is as good as the result 0.
TEST(ResultTables, AStatusInAnswerToAnotherRequestIsSuccess) {
    constexpr std::uint8_t kStatusAnswer = 0x01;
    MuxSystem system;
    ExchangeRunner runner(system);
    const std::time_t from = std::time(nullptr);
    const std::vector<RequestRow> requests = {kOpenAndClose.front(), kOthers.at(2), kOthers.at(3)};
    for (std::size_t number = 0; number < requests.size(); ++number) {
        const RequestRow& request = requests.at(number);
        SCOPED_TRACE(request.name);
        runner.Run({{request.name,
                     Request(request.code, std::string(R"("lockID":5)") + request.members),
                     std::string("00000005") + request.frame,
                     {},
                     "fault silence"}});
        Simulator::Frame answer = system.Gateway().ReceivedFrames().back().frame;
        answer.code = kStatusAnswer;
        answer.payload = Simulator::Bytes(7, 0);
        ASSERT_TRUE(system.Gateway().SendRaw(Simulator::EncodeFrame(answer)));
        ExpectMessage(runner.Client().Receive(), "request-1-" + std::to_string(number + 1), request.success, from);
    }
}

// What the client gets: the battery's two values, and the names of the flags that are set.
Answer DecodedStatus(int battery, int level, const std::string& set) {
    std::string data = R"({"BatteryStatus":)" + std::to_string(battery) + R"(,"QoS":)" + std::to_string(level);
    for (const std::string name :
         {"MechanicalActive", "BatteryWarningLevel", "BatteryAlarmLevel", "ScandinavianFireMode", "ReaderConnected"}) {
        data.append(",\"").append(name).append(set.find(name) == std::string::npos ? "\":false" : "\":true");
    }
    return Ack(data + "}");
}

TEST(ResultTables, StatusBytesAreDecoded) {
    const auto status = [](const std::string& bytes, int battery, int level, const std::string& set) {
        return Exchange{bytes, Request(12), "00000005 01", DecodedStatus(battery, level, set), "status 5 " + bytes, ""};
    };
    const std::vector<Exchange> batteries = {
        status("00000000000000", 0, 0, ""),
        status("01000000000000", 1, 0, ""),
        status("0E001C00000000", 2, 3, "MechanicalActive BatteryWarningLevel BatteryAlarmLevel"),
        status("FBFFA3FFFFFFFF", 3, 2, ""),
    };
    const std::vector<Exchange> flags = {
        status("04000400000000", 0, 1, "MechanicalActive"),
        status("00000800000000", 0, 0, "BatteryWarningLevel"),
        status("00001000000000", 0, 0, "BatteryAlarmLevel"),
        status("00004000000000", 0, 0, "ReaderConnected"),
    };
    MuxSystem system(WithGateways({GatewaySetup{1}, GatewaySetup{2}}));
    ExchangeRunner(system).RunSideBySide({batteries, flags});
}

}  // namespace
}  // namespace SystemTest
