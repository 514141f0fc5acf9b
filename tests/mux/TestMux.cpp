#include "tests/mux/TestMux.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/mux/JsonTimestamp.h"

namespace Testing {

using Brenk::Messages::VG::VirtualGatewayResponseMessage;

void TestMux::TakeIn(const std::string& json, int descriptor) {
    std::vector<unsigned char> payload(json.begin(), json.end());
    TranslateClientMessage(descriptor, payload);
}

void TestMux::Route(const std::string& json, int descriptor) {
    TakeIn(json, descriptor);
    PopNextMessage();
}

void TestMux::AnswerFromGateway(const std::string& messageID, std::uint32_t responseCode, std::int32_t gatewayID) {
    VirtualGatewayResponseMessage response;
    response.requestID = messageID;
    response.responseCode = responseCode;
    TranslateVirtualGatewayMessage(Gateway(gatewayID), &response);
}

Brenk::VirtualGateway* TestMux::Gateway(std::int32_t id) {
    return Gateways()->gatewaysByID.at(id).get();
}

std::string TestMux::TakeAnswer(const CapturedLog& log) {
    static const std::string kBefore = "Message payload: ";
    const std::size_t before = AnswerCount();
    while (AnswerCount() == before && before != 0) {
        SendMessageToClientIfAvailable();
    }
    std::string payload = "none";
    for (const CapturedLog::Line& line : log.Lines()) {
        const std::size_t position = line.second.find(kBefore);
        if (position != std::string::npos) {
            payload = line.second.substr(position + kBefore.size());
        }
    }
    return WithoutTimestamp(payload);
}

Mux::RecordPointer RecordFor(int descriptor, std::shared_ptr<Mux::MuxMessage> message, bool isEvent) {
    return std::make_unique<Mux::MuxRequestRecord>(Brenk::Net::ClientIdentity{descriptor, 1}, std::move(message),
                                                   isEvent);
}

const std::vector<int>& RoutedCodes() {
    static const std::vector<int> codes = {10, 11, 12, 13, 14, 21, 22, 23, 24, 25, 110, 111, 113, 114};
    return codes;
}

std::string Request(std::int32_t code, const std::string& messageID, const std::string& data) {
    return R"({"Timestamp":1700000000,"MessageID":")" + messageID + R"(","MessageCode":)" + std::to_string(code) +
           (data.empty() ? "" : ",\"Data\":" + data) + "}";
}

std::string LockData(std::int32_t gatewayID) {
    return R"({"gatewayID":)" + std::to_string(gatewayID) +
           R"(,"lockID":5,"duration":7,"setupNumber":2,"options":1,"cardData":"A1B2C3","isUIDCard":false})";
}

std::string ConfigurationText(const std::vector<int>& ports) {
    std::string gateways;
    for (std::size_t index = 0; index < ports.size(); ++index) {
        gateways += (index == 0 ? "" : ",");
        gateways += R"({"ID":)" + std::to_string(index + 1) +
                    R"(,"Description":"Hall","IpAddress":"127.0.0.1","Port":)" + std::to_string(ports.at(index)) + "}";
    }
    return R"({"Enabled":true,"Gateways":[)" + gateways + "]}";
}

std::string RequestNack(const std::string& messageID) {
    return R"({"Timestamp":T,"MessageID":")" + messageID +
           R"(","MessageCode":1,"Data":{"ErrorCode":0,"Message":"Error in request"}})";
}

int LatestDescriptor(const CapturedLog& log) {
    static const std::string kBefore = "Client with FD ";
    int descriptor = -1;
    for (const CapturedLog::Line& line : log.Lines()) {
        const std::size_t position = line.second.find(kBefore);
        if (position != std::string::npos) {
            descriptor = std::stoi(line.second.substr(position + kBefore.size()));
        }
    }
    return descriptor;
}

std::vector<std::string> InOrder(const CapturedLog& log, const std::vector<std::string>& texts) {
    std::vector<std::string> found;
    for (const CapturedLog::Line& line : log.Lines()) {
        for (const std::string& text : texts) {
            const std::string ending = " " + text;
            const std::string& whole = line.second;
            if (whole.size() >= ending.size() &&
                whole.compare(whole.size() - ending.size(), ending.size(), ending) == 0) {
                found.push_back(text);
            }
        }
    }
    return found;
}

void ExpectInOrder(const CapturedLog& log, const std::vector<std::string>& texts) {
    EXPECT_EQ(InOrder(log, texts), texts) << log.Text();
}

}  // namespace Testing
