// Every request that the library makes, compared with its text as it was written by hand.

#include "tools/client/Request.h"

#include <gtest/gtest.h>

#include <ctime>
#include <stdexcept>
#include <vector>

namespace MuxClient {
namespace {

const std::string kIdMark = R"(,"MessageID":")";

// The number behind {"Timestamp": at the very start, -1 when there is none.
std::time_t TimestampOf(const std::string& text) {
    const std::string start = R"({"Timestamp":)";
    return text.compare(0, start.size(), start) == 0 ? std::strtol(text.c_str() + start.size(), nullptr, 10) : -1;
}

// What stands behind the identifier; the request's own must stand before it.
std::string BehindTheId(const Request& request) {
    const std::string start =
        R"({"Timestamp":)" + std::to_string(TimestampOf(request.text)) + kIdMark + request.id + R"(",)";
    return request.text.compare(0, start.size(), start) == 0 ? request.text.substr(start.size()) : request.text;
}

struct Row {
    Request request;
    const char* text;
};

const LockAddress kLock = {1, 5};
const Card kCard = {"04A1B2C3", true, 0, 1};

TEST(RequestTest, HasItsCodeAndData) {
    const std::vector<Row> rows = {
        {Request::Open(kLock), R"("MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::Close(kLock), R"("MessageCode":11,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::Status(kLock), R"("MessageCode":12,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::OpenAndClose(kLock, 7), R"("MessageCode":13,"Data":{"gatewayID":1,"lockID":5,"duration":7}})"},
        {Request::DenyAccess(kLock), R"("MessageCode":14,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::GetWhitelist(kLock), R"("MessageCode":20,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::AddToWhitelist(kLock, kCard),
         R"("MessageCode":21,"Data":{"gatewayID":1,"lockID":5,"setupNumber":0,"options":1,"cardData":"04A1B2C3",)"
         R"("isUIDCard":true}})"},
        {Request::ClearWhitelist(kLock), R"("MessageCode":22,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::EnableWhitelist(kLock), R"("MessageCode":23,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::DisableWhitelist(kLock), R"("MessageCode":24,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::RemoveFromWhitelist(kLock, {"AB", false, 3, 0}),
         R"("MessageCode":25,"Data":{"gatewayID":1,"lockID":5,"setupNumber":3,"options":0,"cardData":"AB",)"
         R"("isUIDCard":false}})"},
        {Request::AllowAccess(kLock), R"("MessageCode":50,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::Open(kLock, Occasion::kEvent), R"("MessageCode":110,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::Close(kLock, Occasion::kEvent), R"("MessageCode":111,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::OpenAndClose(kLock, 255, Occasion::kEvent),
         R"("MessageCode":113,"Data":{"gatewayID":1,"lockID":5,"duration":255}})"},
        {Request::DenyAccess(kLock, Occasion::kEvent), R"("MessageCode":114,"Data":{"gatewayID":1,"lockID":5}})"},
        {Request::Configure(R"({ "Enabled":true, "Port":1e5 })"),
         R"("MessageCode":2,"Data":{ "Enabled":true, "Port":1e5 }})"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(BehindTheId(row.request), row.text);
    }
}

TEST(RequestTest, NamesAnyGatewayAndLock) {
    EXPECT_EQ(BehindTheId(Request::Open({-2147483647 - 1, 2147483647})),
              R"("MessageCode":10,"Data":{"gatewayID":-2147483648,"lockID":2147483647}})");
}

TEST(RequestTest, KnowsItsGateway) {
    const LockAddress lock = {7, 5};
    for (const Request& request : {Request::Open(lock), Request::OpenAndClose(lock, 1), Request::Status(lock),
                                   Request::AddToWhitelist(lock, kCard), Request::RemoveFromWhitelist(lock, kCard),
                                   Request::FromText(R"({"Data":{"lockID":5,"gatewayID":7}})")}) {
        EXPECT_EQ(request.gateway, 7) << request.text;
    }
    for (const char* const text : {R"({"gatewayID":7})", R"({"Data":{"gatewayID":"7"}})", R"({"Data":[7]})", "7", ""}) {
        EXPECT_EQ(Request::FromText(text).gateway, std::nullopt) << text;
    }
    EXPECT_EQ(Request::Configure("{}").gateway, std::nullopt);
}

TEST(RequestTest, BearsThePresentTime) {
    const std::time_t before = std::time(nullptr);
    const std::time_t timestamp = TimestampOf(Request::Open(kLock).text);
    EXPECT_GE(timestamp, before);
    EXPECT_LE(timestamp, std::time(nullptr));
}

TEST(RequestTest, BearsAnIdentifierOfItsOwn) {
    EXPECT_NE(Request::Open(kLock).id, Request::Open(kLock).id);
    EXPECT_EQ(Request::Open(kLock).id.size(), 36U);
}

TEST(RequestTest, DoesNotTakeForAConfigurationWhatIsNoObject) {
    for (const char* const text : {"", "{", "[]", "1", "{}{}", "{} x"}) {
        EXPECT_THROW(Request::Configure(text), std::invalid_argument) << text;
    }
}

TEST(RequestTest, SendsATextOfOnesOwnAsItIs) {
    const std::vector<std::pair<const char*, const char*>> idsInTexts = {
        {R"( {"MessageID":"a\n1", "x" : 1e-99999999999} )", "a\n1"},
        {R"({"MessageID":7})", ""},
        {R"({"MessageID":null})", ""},
        {R"({"messageID":"a"})", ""},
        {R"({"MessageCode":10})", ""},
        {R"({"MessageID":"a")", ""},
        {R"(["MessageID"])", ""},
        {"no JSON", ""},
        {"", ""},
    };
    for (const auto& [text, id] : idsInTexts) {
        EXPECT_EQ(Request::FromText(text).text, text);
        EXPECT_EQ(Request::FromText(text).id, id) << text;
    }
}

}  // namespace
}  // namespace MuxClient
