#include "mux/EventBuilder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include "tests/mux/JsonTimestamp.h"
#include "tests/support/CapturedLog.h"

using Brenk::Messages::VG::VirtualGatewayEventMessage;
using Testing::CapturedLog;

namespace Mux {
namespace {

// 3 January 2026, 03:05:07 UTC.
constexpr std::time_t kTime = 1767409507;

// Sets the process's time zone for one test.
class EventBuilder : public testing::Test {
  protected:
    EventBuilder() { SetTimeZone("UTC0"); }

    ~EventBuilder() override {
        unsetenv("TZ");
        tzset();
    }

    static void SetTimeZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
};

VirtualGatewayEventMessage Event(std::uint8_t type, const std::string& data = "04A1B2C3") {
    VirtualGatewayEventMessage event;
    event.eventType = type;
    event.deviceAddress = 17;
    event.data = data;
    return event;
}

std::string JsonOf(const VirtualGatewayEventMessage& event, std::int32_t gatewayID = 3) {
    const auto message = BuildEventMessage(gatewayID, event, kTime);
    return message == nullptr ? "none" : Testing::WithoutTimestamp(message->ToJSON());
}

std::string Expected(const std::string& code, const std::string& data = "04A1B2C3") {
    return R"({"Timestamp":T,"MessageID":"lockEventMessage-1767409507","MessageCode":)" + code +
           R"(,"Data":{"gatewayID":3,"lockID":17,"timestamp":"3:5:7 3-1-2026","RFIDData":")" + data + "\"}}";
}

TEST_F(EventBuilder, MakesACardReaderEventOfType14) {
    const CapturedLog log;
    EXPECT_EQ(JsonOf(Event(14)), Expected("51"));
    EXPECT_EQ(log.Count(plog::info, "READER EVENT. A card was passed on the reader of a smartlock."), 1);
}

TEST_F(EventBuilder, MakesAnAccessAllowedEventOfType15) {
    EXPECT_EQ(JsonOf(Event(15)), Expected("50"));
}

TEST_F(EventBuilder, MakesAnInfoEventOfThePingType22) {
    const CapturedLog log;
    EXPECT_EQ(JsonOf(Event(22, "1234")), Expected("60", "1234"));
    EXPECT_EQ(log.Count(plog::info, "PING EVENT. It is passed on to the clients as an info event."), 1);
}

TEST_F(EventBuilder, MakesNoMessageOfOtherTypes) {
    for (const int type : {0, 1, 13, 16, 17, 18, 21, 23, 50, 255}) {
        EXPECT_EQ(JsonOf(Event(static_cast<std::uint8_t>(type))), "none") << type;
    }
}

TEST_F(EventBuilder, TellsAnEventWithoutDataWithAnEmptyText) {
    EXPECT_EQ(JsonOf(Event(14, "")), Expected("51", ""));
}

TEST_F(EventBuilder, WritesTheLocksAddressAsANonNegativeNumber) {
    VirtualGatewayEventMessage event = Event(14);
    event.deviceAddress = 0xFFFF;
    EXPECT_NE(JsonOf(event).find("\"lockID\":65535,"), std::string::npos);
    EXPECT_NE(JsonOf(event, -2147483647).find("\"gatewayID\":-2147483647,"), std::string::npos);
}

TEST_F(EventBuilder, CarriesTheCurrentTimeInTheEnvelope) {
    const std::time_t before = std::time(nullptr);
    const auto message = BuildEventMessage(3, Event(14), kTime);
    EXPECT_GE(message->Timestamp(), before);
    EXPECT_LE(message->Timestamp(), std::time(nullptr));
}

// The expected texts of the time were computed with Python's datetime.
TEST_F(EventBuilder, WritesTheTimeWithoutLeadingZeros) {
    EXPECT_EQ(EventTimeText(kTime), "3:5:7 3-1-2026");
    EXPECT_EQ(EventTimeText(0), "0:0:0 1-1-1970");
}

TEST_F(EventBuilder, WritesTheTimeWithTwoDigitsWhereItHasThem) {
    EXPECT_EQ(EventTimeText(951868799), "23:59:59 29-2-2000");
    EXPECT_EQ(EventTimeText(2147483647), "3:14:7 19-1-2038");
}

TEST_F(EventBuilder, WritesTimesThatNeedMoreThan32Bits) {
    if (sizeof(std::time_t) < sizeof(std::int64_t)) {
        GTEST_SKIP() << "time has 32 bits here";
    }
    EXPECT_EQ(EventTimeText(static_cast<std::time_t>(INT64_C(4102444800))), "0:0:0 1-1-2100");
}

TEST_F(EventBuilder, WritesLocalTime) {
    SetTimeZone("EAST-5:30");
    EXPECT_EQ(EventTimeText(kTime), "8:35:7 3-1-2026");
    SetTimeZone("WEST+5");
    EXPECT_EQ(EventTimeText(kTime), "22:5:7 2-1-2026");
}

TEST_F(EventBuilder, WritesTheYearThatHasBegunInLocalTime) {
    SetTimeZone("EAST-1");
    EXPECT_EQ(EventTimeText(1735689599), "0:59:59 1-1-2025");
}

}  // namespace
}  // namespace Mux
