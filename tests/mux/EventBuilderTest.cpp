#include "mux/EventBuilder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

#include "tests/mux/JsonTimestamp.h"

using Brenk::Messages::VG::VirtualGatewayEventMessage;

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

std::unique_ptr<MuxMessage> MessageOf(int type, const std::string& data = "04A1B2C3") {
    VirtualGatewayEventMessage event;
    event.eventType = static_cast<std::uint8_t>(type);
    event.deviceAddress = 0xFFFF;
    event.data = data;
    return BuildEventMessage(-3, event, kTime);
}

TEST_F(EventBuilder, MakesAMessageOfTheTypesThatClientsAreToldOf) {
    const std::pair<int, const char*> types[] = {{14, "51"}, {15, "50"}, {22, "60"}};
    for (const auto& [type, code] : types) {
        EXPECT_EQ(Testing::WithoutTimestamp(MessageOf(type)->ToJSON()),
                  R"({"Timestamp":T,"MessageID":"lockEventMessage-1767409507","MessageCode":)" + std::string(code) +
                      R"(,"Data":{"gatewayID":-3,"lockID":65535,"timestamp":"3:5:7 3-1-2026","RFIDData":"04A1B2C3"}})");
    }
    EXPECT_NE(MessageOf(14, "")->ToJSON().find(R"("RFIDData":"")"), std::string::npos);
}

TEST_F(EventBuilder, MakesNoMessageOfOtherTypes) {
    for (const int type : {0, 1, 13, 16, 17, 18, 21, 23, 50, 255}) {
        EXPECT_EQ(MessageOf(type), nullptr) << type;
    }
}

TEST_F(EventBuilder, CarriesTheCurrentTimeInTheEnvelope) {
    const std::time_t before = std::time(nullptr);
    const auto message = MessageOf(14);
    EXPECT_GE(message->Timestamp(), before);
    EXPECT_LE(message->Timestamp(), std::time(nullptr));
}

// The expected texts of the time were computed with Python's datetime.
TEST_F(EventBuilder, WritesTheTimeWithoutLeadingZeros) {
    EXPECT_EQ(EventTimeText(0), "0:0:0 1-1-1970");
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
    SetTimeZone("EAST-1");
    EXPECT_EQ(EventTimeText(1735689599), "0:59:59 1-1-2025");
}

}  // namespace
}  // namespace Mux
