#include "tools/muxctl/AnswerText.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace Muxctl {
namespace {

using MuxClient::ParseMessage;
using namespace std::chrono_literals;

const Style kPlain(false);
const Style kColoured(true);
const std::string kOpenOrClosed = "      open or closed          not reported; send close to be sure";

std::string Nack(const std::string& data) {
    return AnswerText(ParseMessage(R"({"MessageID":"a","MessageCode":1,"Data":)" + data + "}"), "open", 650ms, kPlain);
}

TEST(AnswerTextTest, OfAnAckIsOneLine) {
    const auto ack = ParseMessage(R"({"MessageID":"a","MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})");
    EXPECT_EQ(AnswerText(ack, "open, gateway 1, lock 5", 650ms, kPlain), "ACK   open, gateway 1, lock 5 (0.7 s)");
    EXPECT_EQ(AnswerText(ack, "open", 650ms, kColoured), "\033[1;32mACK\033[0m   open (0.7 s)");
}

TEST(AnswerTextTest, OfANackSaysWhy) {
    EXPECT_EQ(Nack(R"({"ErrorCode":0,"Message":"Error in request"})"), "NACK  open: Error in request (0.7 s)");
    EXPECT_EQ(Nack(R"({"ErrorCode":8,"Message":"No route for the requested device. "})"),
              "NACK  open: No route for the requested device. [error 8] (0.7 s)");
    EXPECT_EQ(Nack(R"({"ErrorCode":5,"Message":""})"), "NACK  open: no reason given [error 5] (0.7 s)");
    EXPECT_EQ(Nack(R"({"ErrorCode":0,"Message":"\u001b[2J"})"), "NACK  open: ?[2J (0.7 s)");
    EXPECT_EQ(Nack("null"), "NACK  open (0.7 s)");
}

TEST(AnswerTextTest, OfAStatusExplainsItsValues) {
    const auto status = ParseMessage(
        R"({"MessageCode":0,"Data":{"BatteryStatus":3,"QoS":1,"MechanicalActive":true,"BatteryWarningLevel":false,)"
        R"("BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":true}})");
    EXPECT_EQ(AnswerText(status, "status, gateway 1, lock 5", 400ms, kPlain),
              "ACK   status, gateway 1, lock 5 (0.4 s)\n"
              "      battery                 full\n"
              "      battery level           80 % or more\n"
              "      battery warning         no\n"
              "      battery alarm           no\n"
              "      mechanical active       yes\n"
              "      reader connected        yes\n"
              "      Scandinavian fire mode  no\n" +
                  kOpenOrClosed);
}

TEST(AnswerTextTest, OfAStatusTellsTheFlagsApartAndShowsUnknownNumbers) {
    const auto status = ParseMessage(
        R"({"MessageCode":0,"Data":{"BatteryStatus":4,"QoS":-1,"MechanicalActive":false,"BatteryWarningLevel":true,)"
        R"("BatteryAlarmLevel":false,"ScandinavianFireMode":true,"ReaderConnected":false}})");
    EXPECT_EQ(AnswerText(status, "s", 0ms, kPlain),
              "ACK   s (0.0 s)\n"
              "      battery                 4\n"
              "      battery level           -1\n"
              "      battery warning         yes\n"
              "      battery alarm           no\n"
              "      mechanical active       no\n"
              "      reader connected        no\n"
              "      Scandinavian fire mode  yes\n" +
                  kOpenOrClosed);
}

class EventTextTest : public testing::Test {
  protected:
    EventTextTest() {
        setenv("TZ", "TST-5:30", 1);  // five and a half hours ahead of UTC
        tzset();
    }
    ~EventTextTest() override {
        unsetenv("TZ");
        tzset();
    }

    // 1700000000 is 2023-11-14 22:13:20 UTC.
    static MuxClient::Message Event(int code, const std::string& data, const std::string& time = "1700000000") {
        return ParseMessage(R"({"Timestamp":)" + time + R"(,"MessageID":"lockEventMessage-1700000000","MessageCode":)" +
                            std::to_string(code) + R"(,"Data":{"gatewayID":1,"lockID":5,"timestamp":"x","RFIDData":")" +
                            data + R"("}})");
    }
};

std::string TextOf(const MuxClient::Message& event, Pins pins = Pins::kMasked, const std::string& lockName = "") {
    return EventText(event, pins, lockName, kPlain);
}

TEST_F(EventTextTest, IsOneLineWithTheLocalTime) {
    EXPECT_EQ(TextOf(Event(51, "04A1B2C3")), "2023-11-15 03:43:20  card at reader  gateway 1  lock 5  card 04A1B2C3");
    EXPECT_EQ(TextOf(Event(50, "0A")), "2023-11-15 03:43:20  access allowed  gateway 1  lock 5  card 0A");
    EXPECT_EQ(EventText(Event(51, "0A"), Pins::kMasked, "", kColoured),
              "2023-11-15 03:43:20  \033[1;36mcard at reader\033[0m  gateway 1  lock 5  card 0A");
    EXPECT_EQ(TextOf(Event(51, "0A"), Pins::kMasked, "Front\ndoor"),
              "2023-11-15 03:43:20  card at reader  gateway 1  lock 5 (Front?door)  card 0A");
}

struct PinRow {
    const char* data;
    std::string masked;
    std::string shown;
};

// The length of a PIN is half of the secret.
TEST_F(EventTextTest, HidesAPinAndItsLengthUnlessItIsWanted) {
    const std::string start = "2023-11-15 03:43:20  PIN entered     gateway 1  lock 5  PIN ";
    const std::vector<PinRow> rows = {
        {"31323930", "****", "1290"},      {"3132", "****", "12"},     {"313A", "****", "313A (not digits)"},
        {"41", "****", "41 (not digits)"}, {"", "(empty)", "(empty)"},
    };
    for (const PinRow& row : rows) {
        EXPECT_EQ(TextOf(Event(60, row.data)), start + row.masked);
        EXPECT_EQ(TextOf(Event(60, row.data), Pins::kShown), start + row.shown);
    }
}

TEST_F(EventTextTest, OfJsonHidesThePinWhereverItIs) {
    const auto event = ParseMessage(
        R"({"MessageCode":60,"Data":{"RFIDData":"3132","lockID":5,"RFIDData":"31"},"Data":{"RFIDData":[3132]}})");
    EXPECT_EQ(
        EventJsonLine(event, Pins::kMasked),
        R"({"MessageCode":60,"Data":{"RFIDData":"****","lockID":5,"RFIDData":"****"},"Data":{"RFIDData":"****"}})");
    EXPECT_EQ(EventJsonLine(event, Pins::kShown), event.text);
    EXPECT_EQ(EventJsonLine(Event(60, ""), Pins::kMasked), Event(60, "").text);
    EXPECT_EQ(EventJsonLine(Event(51, "3132"), Pins::kMasked), Event(51, "3132").text);
}

std::string TimeOf(const std::string& line) {
    return line.substr(0, line.find("  "));
}

// -2^63, 2^63 - 1 and, where seconds have 32 bits, what comes behind 2^31 - 1 are no times.
TEST_F(EventTextTest, ShowsATimeThatIsNoneAsItsNumber) {
    for (const std::string time : {"-9223372036854775808", "9223372036854775807"}) {
        EXPECT_EQ(TimeOf(TextOf(Event(51, "0A", time))), time);
    }
    EXPECT_EQ(TimeOf(TextOf(Event(51, "0A", "2147483647"))), "2038-01-19 08:44:07");
    EXPECT_EQ(TimeOf(TextOf(Event(51, "0A", "2147483648"))),
              sizeof(std::time_t) == 4 ? "2147483648" : "2038-01-19 08:44:08");
}

}  // namespace
}  // namespace Muxctl
