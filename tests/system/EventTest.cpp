// What a gateway sends unasked, as it reaches every client.

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "tests/system/support/ExchangeRunner.h"

namespace SystemTest {
namespace {

// Five and a half hours ahead of UTC, all year; the sign of such a text is that of the way back.
constexpr const char* kTimeZone = "TST-5:30";
constexpr std::time_t kAheadOfUtc = 5 * 3600 + 30 * 60;

// Hour:minute:second day-month-year, without leading zeros.
std::string LocalTimeText(std::time_t time) {
    const std::time_t shifted = time + kAheadOfUtc;
    std::tm fields = {};
    gmtime_r(&shifted, &fields);
    return std::to_string(fields.tm_hour) + ":" + std::to_string(fields.tm_min) + ":" + std::to_string(fields.tm_sec) +
           " " + std::to_string(fields.tm_mday) + "-" + std::to_string(fields.tm_mon + 1) + "-" +
           std::to_string(fields.tm_year + 1900);
}

const std::string kIdStart = "lockEventMessage-";

// The number in the message ID, -1 when there is none.
std::time_t TimeInId(const std::string& text) {
    const std::size_t start = text.find(kIdStart);
    return start == std::string::npos ? -1 : std::strtol(text.c_str() + start + kIdStart.size(), nullptr, 10);
}

struct EventRow {
    const char* name;
    // Console commands of the gateway.
    const char* gateway;
    // What the event says; the lock's number is the low 16 bits of its address. Code 0: no client is told.
    int code;
    int lock;
    const char* data;
};

const std::vector<EventRow> kEvents = {
    {"a card at the reader", "card 5 04A1B2C3", 51, 5, "04A1B2C3"},
    {"a card that was let in", "card 5 04A1B2C3 15", 50, 5, "04A1B2C3"},
    {"a PIN", "pin 5 1234", 60, 5, "31323334"},
    {"a card of type 17", "card 5 AA 17", 0, 0, ""},
    {"a card of type 18", "card 5 BB 18", 0, 0, ""},
    {"a card of one byte", "card 5 00", 51, 5, "00"},
    {"a card of 12 bytes", "card 5 00FF10EF20DF30CF40BF50AF", 51, 5, "00FF10EF20DF30CF40BF50AF"},
    {"a PIN of one digit", "pin 5 0", 60, 5, "30"},
    {"a lock beyond 16 bits", "card 70000 0A 15", 50, 4464, "0A"},
    {"lock 65535", "pin 65535 9", 60, 65535, "39"},
    {"event bytes are not passed on", "event-bytes 01020304050607; card 5 0B", 51, 5, "0B"},
};

void ExpectEvent(const std::string& received, const EventRow& row, int gatewayId, std::time_t from) {
    const std::time_t time = TimeInId(received);
    EXPECT_GE(time, from) << received;
    EXPECT_LE(time, TimestampOf(received)) << received;
    const std::string data = R"({"gatewayID":)" + std::to_string(gatewayId) + R"(,"lockID":)" +
                             std::to_string(row.lock) + R"(,"timestamp":")" + LocalTimeText(time) +
                             R"(","RFIDData":")" + row.data + R"("})";
    ExpectMessage(received, kIdStart + std::to_string(time), {row.code, data}, from);
}

SystemSetup InTimeZone() {
    SystemSetup setup = WithArguments({"--verbose"}, WithGateways({{1, {5, 70000, 65535}, 1000}, {-7, {5}, 1000}}));
    setup.environment = {{"TZ", kTimeZone}};
    return setup;
}

TEST(Events, ReachEveryClientWithTheSameBytes) {
    MuxSystem system(InTimeZone());
    TestClient first = system.NewClient();
    TestClient second = system.NewClient();
    ASSERT_TRUE(system.Mux().WaitFor("Client with FD ", 2));
    for (const EventRow& row : kEvents) {
        SCOPED_TRACE(row.name);
        const std::size_t logged = system.Mux().Count("Received an event from Virtual Gateway with ID 1 of type ");
        const std::time_t from = std::time(nullptr);
        RunCommands(system.Gateway(), row.gateway);
        EXPECT_TRUE(system.Mux().WaitFor("Received an event from Virtual Gateway with ID 1 of type ", logged + 1));
        if (row.code != 0) {
            const std::string received = first.Receive();
            ExpectEvent(received, row, 1, from);
            EXPECT_EQ(second.Receive(), received);
        }
    }
    // Two rows of which no client is told, for two clients each.
    EXPECT_TRUE(system.Mux().WaitFor("Message part in the event record structure is missing.", 4));
    EXPECT_EQ(system.Mux().Count("Message part in the event record structure is missing."), 4U);
}

TEST(Events, NameTheirGatewayAndHaveAllBytesOfTheirCardOrNone) {
    constexpr std::size_t kLongest = 228;
    std::string longest;
    for (std::size_t index = 0; index < kLongest; ++index) {
        longest += "E7";
    }
    MuxSystem system(InTimeZone());
    TestClient client = system.NewClient();
    ASSERT_TRUE(system.Mux().WaitFor("Client with FD "));
    const std::time_t from = std::time(nullptr);
    ASSERT_TRUE(system.Gateway().RaiseCard(5, {}));
    ExpectEvent(client.Receive(), {"", "", 51, 5, ""}, 1, from);
    ASSERT_TRUE(system.Gateway().RaiseCard(5, Simulator::Bytes(kLongest, 0xE7)));
    ExpectEvent(client.Receive(), {"", "", 51, 5, longest.c_str()}, 1, from);
    ASSERT_TRUE(system.Gateway(1).RaiseCard(5, {0x01}));
    ExpectEvent(client.Receive(), {"", "", 51, 5, "01"}, -7, from);
}

TEST(Events, ReachOnlyThoseWhoAreConnected) {
    MuxSystem system(InTimeZone());
    ASSERT_TRUE(system.Gateway().RaiseCard(5, {0x01}));
    ASSERT_TRUE(system.Mux().WaitFor("Received an event from Virtual Gateway with ID 1 of type 14."));
    // Events are taken up one after the other: with the second one here the first one has been handed out.
    ASSERT_TRUE(system.Gateway().RaiseCard(5, {0x01}, 17));
    ASSERT_TRUE(system.Mux().WaitFor("Received an event from Virtual Gateway with ID 1 of type 17."));
    TestClient late = system.NewClient();
    ASSERT_TRUE(system.Mux().WaitFor("Client with FD "));
    const std::time_t from = std::time(nullptr);
    ASSERT_TRUE(system.Gateway().RaiseCard(5, {0x02}));
    ExpectEvent(late.Receive(), {"", "", 51, 5, "02"}, 1, from);
}

TEST(Events, AreAnsweredByAResponse) {
    MuxSystem system(InTimeZone());
    ExchangeRunner runner(system);
    ASSERT_TRUE(system.Mux().WaitFor("Client with FD ", 2));
    const Exchange response = {"open and close", Request(113, R"("lockID":5,"duration":3)"), "00000005 89 03", Ack(),
                               "demand-event 5 on"};
    Exchange unasked = response;
    unasked.answer = Nack(10, "Request message unexpected.");
    runner.Run({unasked});

    const std::time_t from = std::time(nullptr);
    ASSERT_TRUE(system.Gateway().RaiseCard(5, {0x01}));
    ExpectEvent(runner.Client().Receive(), {"", "", 51, 5, "01"}, 1, from);
    runner.Run({response});
}

}  // namespace
}  // namespace SystemTest
