#include "proxy/mqtt/MessageMaker.h"

#include <gtest/gtest.h>

namespace MuxProxy {
namespace {

const MuxLocks kLocks = {
    {{1, 70000}, "Hall", "Front door"}, {{1, 6}, "Hall", ""}, {{2, 6}, "", ""}, {{2, 65542}, "", ""}};

MessageMaker Maker(bool wholeCards = false) {
    return {Topics("p", "hall"), kLocks, wholeCards};
}

AuditRow Row(const char* kind, const char* operation, int gateway, int lock) {
    AuditRow row;
    row.kind = kind;
    row.operation = operation;
    row.gateway = gateway;
    row.lock = lock;
    row.time = std::chrono::system_clock::time_point(std::chrono::milliseconds(1795185612500));
    return row;
}

std::string TextOf(const AuditRow& row, const MessageMaker& maker = Maker()) {
    const auto message = maker.MessageOf(row);
    return message ? message->topic + " " + message->payload : "";
}

TEST(MessageMakerTest, AnEventHasTheWholeAddressOfItsLock) {
    AuditRow row = Row("event", "card", 1, 70000 - 65536);
    row.card = "*B2C3";
    EXPECT_EQ(TextOf(row),
              R"(p/hall/gateway/1/lock/70000/event {"time":1795185612500,"event_type":"card","card":"*B2C3"})");
}

TEST(MessageMakerTest, ALockThatIsUnknownOrNotTheOnlyOneKeepsItsLowBits) {
    EXPECT_EQ(TextOf(Row("event", "pin", 1, 9)),
              R"(p/hall/gateway/1/lock/9/event {"time":1795185612500,"event_type":"pin"})");
    EXPECT_EQ(TextOf(Row("event", "allowed", 2, 6)),
              R"(p/hall/gateway/2/lock/6/event {"time":1795185612500,"event_type":"allowed"})");
}

TEST(MessageMakerTest, ABatteryEventHasItsLocksOwnAddress) {
    EXPECT_EQ(TextOf(Row("event", "battery-low", 1, 4464)),
              R"(p/hall/gateway/1/lock/4464/event {"time":1795185612500,"event_type":"battery-low"})");
}

TEST(MessageMakerTest, AResultIsTheRowOfItsRequest) {
    AuditRow row = Row("request", "whitelist-add", 1, 4464);
    row.client = "desk";
    row.card = "*B2C3";
    row.result = "nack";
    row.errorCode = 3;
    row.elapsed = std::chrono::milliseconds(301);
    row.remark = "a \"remark\"";
    EXPECT_EQ(TextOf(row), R"(p/hall/gateway/1/lock/4464/result {"time":1795185612500,"client":"desk",)"
                           R"("operation":"whitelist-add","result":"nack","errorCode":3,"milliseconds":301,)"
                           R"("card":"*B2C3","remark":"a \"remark\""})");
}

TEST(MessageMakerTest, CardsAreShortenedUnlessTheFileSaysOtherwise) {
    AuditRow row = Row("event", "card", 1, 6);
    row.card = "04A1B2C3";
    EXPECT_EQ(TextOf(row),
              R"(p/hall/gateway/1/lock/6/event {"time":1795185612500,"event_type":"card","card":"*B2C3"})");
    EXPECT_EQ(TextOf(row, Maker(true)),
              R"(p/hall/gateway/1/lock/6/event {"time":1795185612500,"event_type":"card","card":"04A1B2C3"})");
}

TEST(MessageMakerTest, OtherRowsMakeNoMessages) {
    EXPECT_EQ(TextOf(Row("request", "open", 1, 6)), "") << "it is under way";
    EXPECT_EQ(TextOf(Row("mux", "lost", 1, 6)), "");
    AuditRow nowhere = Row("request", "", 1, 6);
    nowhere.result = "not-valid";
    nowhere.lock.reset();
    EXPECT_EQ(TextOf(nowhere), "");
}

TEST(MessageMakerTest, AStatusHasWordsAndNumbers) {
    JsonObject object;
    AddStatus(object, {2, 1, false, true, false, false, true});
    EXPECT_EQ(object.Json(),
              R"({"battery":"medium","capacity_at_least":80,"battery_warning":true,"battery_alarm":false,)"
              R"("mechanical_active":false,"fire_mode":false,"reader_connected":true})");
    JsonObject unknown;
    AddStatus(unknown, {9, -1, true, false, true, true, false});
    EXPECT_EQ(unknown.Json(),
              R"({"battery":"not-available","capacity_at_least":0,"battery_warning":false,)"
              R"("battery_alarm":true,"mechanical_active":true,"fire_mode":true,"reader_connected":false})");
}

TEST(JsonObjectTest, TakesAnotherMemberInFront) {
    EXPECT_EQ(WithFirstText("id", "f-1", R"({"a":1})"), R"({"id":"f-1","a":1})");
    EXPECT_EQ(WithFirstText("id", "f-1", "{}"), R"({"id":"f-1"})");
}

}  // namespace
}  // namespace MuxProxy
