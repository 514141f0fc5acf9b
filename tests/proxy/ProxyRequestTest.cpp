#include "proxy/requests/ProxyRequest.h"

#include <gtest/gtest.h>

namespace MuxProxy {
namespace {

using std::string_literals::operator""s;

// The text behind the envelope of the request as it goes on: "MessageCode" and "Data".
std::string Rewritten(const std::string& text) {
    const auto read = ReadRequest(text);
    if (const auto* const invalid = std::get_if<InvalidRequest>(&read)) {
        return invalid->reason;
    }
    const std::string written = WriteRequest(std::get<ProxyRequest>(read)).text;
    return written.substr(written.find("\"MessageCode\""));
}

std::string WithData(const std::string& code, const std::string& data) {
    return R"({"MessageID":"a","MessageCode":)" + code + R"(,"Data":{)" + data + "}}";
}

struct Rewriting {
    const char* what;
    std::string text;
    const char* expected;
};

class ReadRequestTest : public testing::TestWithParam<Rewriting> {};

TEST_P(ReadRequestTest, ReadsWhatTheMuxWouldRead) {
    EXPECT_EQ(Rewritten(GetParam().text), GetParam().expected) << GetParam().what;
}

const Rewriting kRewritings[] = {
    {"first of two members", WithData("10", R"("gatewayID":1,"lockID":5,"lockID":6)"),
     R"("MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})"},
    {"no number is 0", WithData("11", R"("gatewayID":"1","lockID":null)"),
     R"("MessageCode":11,"Data":{"gatewayID":0,"lockID":0}})"},
    {"the text ends at its NUL", WithData("12", R"("gatewayID":1,"lockID":-1)") + "\0}}}"s,
     R"("MessageCode":12,"Data":{"gatewayID":1,"lockID":-1}})"},
    {"low 8 bits of a duration", WithData("13", R"("gatewayID":1,"lockID":5,"duration":300)"),
     R"("MessageCode":13,"Data":{"gatewayID":1,"lockID":5,"duration":44}})"},
    {"a duration of 0 bits is 1", WithData("113", R"("gatewayID":1,"lockID":5,"duration":256)"),
     R"("MessageCode":113,"Data":{"gatewayID":1,"lockID":5,"duration":1}})"},
    {"unknown members stay behind", WithData("114", R"("gatewayID":1,"lockID":5,"x":[[{}]])"),
     R"("MessageCode":114,"Data":{"gatewayID":1,"lockID":5}})"},
    {"odd and wrong digits of a card",
     WithData("21", R"("gatewayID":1,"lockID":5,"cardData":"aXc","setupNumber":513,"options":7)"),
     R"("MessageCode":21,"Data":{"gatewayID":1,"lockID":5,"setupNumber":1,"options":1,"cardData":"0A0C","isUIDCard":false}})"},
    {"a card's defaults",
     WithData("25", R"("gatewayID":1,"lockID":5,"cardData":"04A1","isUIDCard":1,"setupNumber":-1)"),
     R"("MessageCode":25,"Data":{"gatewayID":1,"lockID":5,"setupNumber":0,"options":0,"cardData":"04A1","isUIDCard":false}})"},
    {"not JSON", "hello", "the text is not JSON at byte 1: Invalid value"},
    {"nothing", "", "the text is empty"},
    {"an array", "[1]", "the text must be an object"},
    {"a number that is too great", WithData("10", R"("gatewayID":1e999,"lockID":5)"),
     "the text is not JSON at byte 55: Number too big to be stored in double"},
    {"no code", R"({"MessageID":"a","Data":{}})", "/MessageCode is 0, which is no request"},
    {"a configuration", WithData("2", ""), "/MessageCode is 2, a configuration, which the Mux ignores"},
    {"a code that is no integer", WithData("10.0", ""),
     "/MessageCode must be a 32-bit integer without decimal point or exponent"},
    {"a time that is no integer", R"({"Timestamp":1.5,"MessageCode":10})",
     "/Timestamp must be a 64-bit integer without decimal point or exponent"},
    {"no data", R"({"MessageCode":10,"Data":[]})", "/Data is missing or not an object"},
    {"no lock", WithData("10", R"("gatewayID":1)"), "/Data/lockID is missing"},
    {"a lock out of range", WithData("21", R"("gatewayID":1,"lockID":4294967295,"cardData":"04")"),
     "/Data/lockID must be a 32-bit integer without decimal point or exponent"},
    {"no duration", WithData("13", R"("gatewayID":1,"lockID":5)"), "/Data/duration is missing"},
    {"a negative duration", WithData("13", R"("gatewayID":1,"lockID":5,"duration":-1)"),
     "/Data/duration must be an integer from 0 to 4294967295 without decimal point or exponent"},
    {"no card", WithData("21", R"("gatewayID":1,"lockID":5)"), "/Data/cardData is missing, empty or not a string"},
    {"a card of no number's lock", WithData("21", R"("gatewayID":1,"lockID":"5","cardData":"04")"),
     "/Data/lockID is missing or not a number"},
    {"a card that is too long",
     WithData("21", R"("gatewayID":1,"lockID":5,"cardData":")" + std::string(468, 'A') + '"'),
     "/Data/cardData has more than 233 bytes"},
};

INSTANTIATE_TEST_SUITE_P(Texts, ReadRequestTest, testing::ValuesIn(kRewritings));

TEST(ReadRequest, KeepsTheIdOfWhatItRefuses) {
    EXPECT_EQ(std::get<InvalidRequest>(ReadRequest(R"({"MessageID":"a\u0000b"})")).clientId, "a\0b"s);
    EXPECT_EQ(std::get<InvalidRequest>(ReadRequest("[]")).clientId, "");
}

TEST(WriteRequest, GivesEachRequestAnIdOfItsOwn) {
    const auto request = std::get<ProxyRequest>(ReadRequest(WithData("12", R"("gatewayID":1,"lockID":5)")));
    const MuxClient::Request first = WriteRequest(request);
    EXPECT_NE(first.id, WriteRequest(request).id);
    EXPECT_LE(first.id.size(), 40U);
    EXPECT_EQ(request.clientId, "a");
}

}  // namespace
}  // namespace MuxProxy
