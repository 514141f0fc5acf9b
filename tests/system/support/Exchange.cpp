#include "tests/system/support/Exchange.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace SystemTest {

Exchange Odd(Exchange exchange) {
    exchange.schema = ByRequestSchema::kIsRefused;
    return exchange;
}

std::string RequestWithoutData(int code) {
    return R"({"Timestamp":1700000000,"MessageID":"@I","MessageCode":)" + std::to_string(code) + "}";
}

std::string RequestWithData(int code, const std::string& data) {
    return R"({"Timestamp":1700000000,"MessageID":"@I","MessageCode":)" + std::to_string(code) + R"(,"Data":)" + data +
           "}";
}

std::string Request(int code, const std::string& members) {
    return RequestWithData(code, R"({"gatewayID":@G,)" + members + "}");
}

Answer Nack(int errorCode, const std::string& text) {
    return {1, R"({"ErrorCode":)" + std::to_string(errorCode) + R"(,"Message":")" + text + R"("})"};
}

long long TimestampOf(const std::string& text) {
    static const std::string kStart = R"({"Timestamp":)";
    return text.rfind(kStart, 0) == 0 ? std::strtoll(text.c_str() + kStart.size(), nullptr, 10) : -1;
}

std::string MessageText(long long timestamp, const std::string& id, const Answer& answer) {
    return R"({"Timestamp":)" + std::to_string(timestamp) + R"(,"MessageID":")" + id + R"(","MessageCode":)" +
           std::to_string(answer.code) + R"(,"Data":)" + answer.data + "}";
}

void ExpectMessage(const std::string& received, const std::string& id, const Answer& answer, std::time_t from) {
    const long long timestamp = TimestampOf(received);
    EXPECT_EQ(received, MessageText(timestamp, id, answer));
    EXPECT_GE(timestamp, from) << "older than the request";
    EXPECT_LE(timestamp, std::time(nullptr)) << "in the future";
}

void ExpectServed(TestClient& client, const std::string& id) {
    const std::time_t from = std::time(nullptr);
    client.Send(R"({"MessageID":")" + id + R"(","MessageCode":3})");
    const std::string received = client.Receive();
    ExpectMessage(received, id, Refusal(), from);
    ASSERT_EQ(received.front(), '{') << "no answer";
}

std::string Replace(std::string text, const std::string& mark, const std::string& replacement) {
    for (std::size_t found = text.find(mark); found != std::string::npos; found = text.find(mark, found)) {
        text.replace(found, mark.size(), replacement);
        found += replacement.size();
    }
    return text;
}

}  // namespace SystemTest
