// The bounds, enumerations and patterns of the schemas. That members are there, of their type and no others is shown by
// SpoiledExamplesTest.cpp.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/docs/support/DocumentFile.h"
#include "tests/docs/support/JsonSchema.h"

namespace {

using Documents::JsonSchema;
using Texts = std::vector<std::string>;

// A text that fits a schema, and what the schema makes of it with something else in place of one part.
class RightText {
  public:
    RightText(const char* schema, std::string text) : schema_(JsonSchema::Named(schema)), text_(std::move(text)) {
        EXPECT_EQ(schema_.ViolationIn(text_), "") << text_;
    }

    void ExpectRefused(const std::string& part, const Texts& others) const {
        for (const std::string& other : others) {
            EXPECT_NE(schema_.ViolationIn(With(part, other)), "") << With(part, other);
        }
    }
    void ExpectFits(const std::string& part, const Texts& others) const {
        for (const std::string& other : others) {
            EXPECT_EQ(schema_.ViolationIn(With(part, other)), "") << With(part, other);
        }
    }

  private:
    // Throws std::out_of_range when the text has no such part.
    std::string With(const std::string& part, const std::string& other) const {
        return std::string(text_).replace(text_.find(part), part.size(), other);
    }

    const JsonSchema& schema_;
    std::string text_;
};

const RightText& OpenRequest() {
    static const RightText text(
        "request", R"({"Timestamp":1,"MessageID":"a","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})");
    return text;
}

TEST(RequestSchema, RefusesWhatIsNoRequest) {
    OpenRequest().ExpectRefused("10", {"0", "2", "20", "112"});
    OpenRequest().ExpectRefused(R"("a")", {R"("")", R"("a requestNewSEQID-1")"});
    OpenRequest().ExpectRefused("5}", {R"(5,"duration":7})", R"(5,"cardData":"04A1B2C3"})"});
}

TEST(RequestSchema, BoundsNumbers) {
    OpenRequest().ExpectRefused("1,", {"9223372036854775808,", "-9223372036854775809,"});
    OpenRequest().ExpectFits("1,", {"9223372036854775807,", "-9223372036854775808,"});
    for (const std::string member : {R"("gatewayID":1)", R"("lockID":5)"}) {
        const std::string name = member.substr(0, member.size() - 1);
        OpenRequest().ExpectRefused(member, {name + "2147483648", name + "-2147483649"});
        OpenRequest().ExpectFits(member, {name + "2147483647", name + "-2147483648"});
    }
    const RightText openClose("request",
                              R"({"MessageID":"a","MessageCode":13,"Data":{"gatewayID":1,"lockID":5,"duration":7}})");
    openClose.ExpectRefused("7}", {"0}", "256}"});
    openClose.ExpectFits("7}", {"1}", "255}"});
}

TEST(RequestSchema, RefusesACardThatIsNone) {
    const RightText add(
        "request", R"({"MessageID":"a","MessageCode":21,"Data":{"gatewayID":1,"lockID":5,"cardData":"04A1B2C3"}})");
    const std::string card = R"("04A1B2C3")";
    const auto digits = [](std::size_t count) { return '"' + std::string(count, 'A') + '"'; };
    add.ExpectRefused(card, {R"("")", R"("123")", R"("0G")", digits(468), digits(22) + R"(,"isUIDCard":true)",
                             card + R"(,"isUIDCard":true,"setupNumber":1)", card + R"(,"setupNumber":-1)",
                             card + R"(,"setupNumber":256)", card + R"(,"options":2)", card + R"(,"duration":1)"});
    add.ExpectFits(card,
                   {digits(2), digits(466), digits(20) + R"(,"isUIDCard":true)", digits(22) + R"(,"isUIDCard":false)",
                    card + R"(,"isUIDCard":true,"setupNumber":0)", card + R"(,"setupNumber":255,"options":0)"});
}

TEST(AnswerSchema, RefusesWhatIsNoAnswer) {
    const RightText ack("answer",
                        R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})");
    ack.ExpectRefused("1,", {"2147483648,", "-2147483649,"});
    ack.ExpectRefused(R"("MessageCode":0)", {R"("MessageCode":1)", R"("MessageCode":10)"});
    ack.ExpectRefused(R"(true,"ErrorCode":0)", {R"(false,"ErrorCode":0)", R"(true,"ErrorCode":3)"});
    const RightText nack("answer",
                         R"({"Timestamp":1,"MessageID":"a","MessageCode":1,"Data":{"ErrorCode":5,"Message":"x"}})");
    nack.ExpectRefused(R"("MessageCode":1)", {R"("MessageCode":0)"});
    nack.ExpectRefused("5", {"256", "-7"});
    // From those of the proxy on.
    nack.ExpectFits("5", {"-6", "-1", "255"});
}

TEST(AnswerSchema, RefusesAStatusBeyondItsBounds) {
    const RightText status(
        "answer",
        R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"BatteryStatus":3,"QoS":3,"MechanicalActive":true,)"
        R"("BatteryWarningLevel":false,"BatteryAlarmLevel":false,"ScandinavianFireMode":false,)"
        R"("ReaderConnected":true}})");
    status.ExpectRefused(R"("BatteryStatus":3)", {R"("BatteryStatus":4)", R"("BatteryStatus":-1)"});
    status.ExpectRefused(R"("QoS":3)", {R"("QoS":4)", R"("QoS":-1)"});
    status.ExpectRefused(R"("ScandinavianFireMode":false)", {R"("ScandinavianFireMode":true)"});
}

TEST(EventSchema, RefusesWhatIsNoEvent) {
    const RightText event(
        "event", R"({"Timestamp":1,"MessageID":"lockEventMessage-1","MessageCode":51,"Data":{"gatewayID":1,"lockID":5,)"
                 R"("timestamp":"1:2:3 4-5-2023","RFIDData":"0A"}})");
    event.ExpectRefused("1,", {"2147483648,", "-2147483649,"});
    event.ExpectRefused("lockEventMessage-1", {"lockEventMessage-", "xlockEventMessage-1"});
    event.ExpectRefused("51", {"10", "0", "52"});
    event.ExpectRefused(R"("gatewayID":1)", {R"("gatewayID":2147483648)", R"("gatewayID":-2147483649)"});
    event.ExpectRefused(R"("lockID":5)", {R"("lockID":65536)", R"("lockID":-1)"});
    event.ExpectRefused("1:2:3 4-5-2023", {"2023-05-04T01:02:03", "1:2:3 4-5-23"});
    event.ExpectRefused("0A", {"0a", "0"});
    event.ExpectFits("0A", {""});
}

TEST(ConfigurationSchema, BoundsWhatTheMuxWouldTakeForSomethingElse) {
    const RightText configuration(
        "configuration", R"({"Enabled":false,"Gateways":[{"ID":1,"IpAddress":"a","Port":2101,"Devices":[]}]})");
    configuration.ExpectRefused(R"("ID":1)", {R"("ID":2147483648)", R"("ID":-2147483649)"});
    configuration.ExpectFits(R"("ID":1)", {R"("ID":2147483647)", R"("ID":-2147483648)"});
    configuration.ExpectRefused(R"("a")", {R"("")"});
    configuration.ExpectRefused("2101", {"0", "65536"});
    configuration.ExpectFits("2101", {"1", "65535"});
    configuration.ExpectFits("[]", {R"([{"ID":-1}])"});
    EXPECT_EQ(JsonSchema::Named("configuration").ViolationIn(R"({"Enabled":false,"Gateways":[]})"), "");
}

TEST(SimulatorSchema, RefusesWhatTheSimulatorRefuses) {
    EXPECT_NE(JsonSchema::Named("simulator").ViolationIn(R"({"Gateways":[]})"), "");
    const RightText file("simulator", R"({"Gateways":[{"ID":1,"Devices":[{"ID":5}]}]})");
    const std::string gateway = R"("ID":1)";
    file.ExpectRefused(gateway, {R"("ID":1,"IpAddress":"")", R"("ID":1,"Port":-1)", R"("ID":1,"Port":65536)",
                                 R"("ID":1,"Counter":-1)", R"("ID":1,"Counter":4294967296)",
                                 R"("ID":1,"WhitelistCapacity":-1)", R"("ID":1,"WhitelistCapacity":1000001)"});
    file.ExpectFits(gateway, {R"("ID":1,"IpAddress":"::1","Port":0,"Counter":0,"WhitelistCapacity":0)",
                              R"("ID":1,"IpAddress":"hall.local","Port":65535)",
                              R"("ID":1,"Counter":4294967295,"WhitelistCapacity":1000000)"});
    const std::string lock = R"("ID":5)";
    file.ExpectRefused(lock, {R"("ID":5,"BatteryStatus":4)", R"("ID":5,"BatteryStatus":-1)",
                              R"("ID":5,"BatteryLevel":4)", R"("ID":5,"BatteryLevel":-1)"});
    file.ExpectFits(lock,
                    {R"("ID":5,"BatteryStatus":0,"BatteryLevel":0)", R"("ID":5,"BatteryStatus":3,"BatteryLevel":3)"});
}

TEST(MqttCommandSchema, RefusesWhatTheProxyRefuses) {
    const RightText command("mqtt-command", R"({"iat":1795185612.5,"operation":"open"})");
    command.ExpectRefused(R"("iat":1795185612.5,)", {"", R"("iat":"1795185612",)", R"("iat":1795185612500,)"});
    command.ExpectRefused(R"(,"operation":"open")", {""});
    const std::string open = R"("open")";
    command.ExpectRefused(
        open, {R"("explode")", R"("open-close")", R"("open-close","duration":0)", R"("open-close","duration":256)",
               R"("whitelist-add")", R"("whitelist-add","card":"04A")", R"("whitelist-add","card":"04G1")",
               R"("whitelist-add","uid":true,"card":"0102030405060708090A0B")",
               R"("whitelist-remove","card":"04","setup":256)", R"("open","gateway":2147483648)",
               R"("whitelist-remove","card":"04","options":2)", R"("open","x":1)"});
    command.ExpectFits(open, {R"("status")", R"("event-open-close","duration":255)",
                              R"("whitelist-add","uid":true,"card":"0102030405060708090a","setup":0,"options":1)",
                              R"("whitelist-add","uid":false,"card":"0102030405060708090A0B")"});
}

TEST(MqttSignedCommandSchema, RequiresEveryClaimOfASignature) {
    const RightText command("mqtt-signed-command",
                            R"({"operation":"open","iat":1,"aud":"hall","gateway":1,"lock":5,"exp":31,"jti":"a"})");
    for (const char* const claim :
         {R"("aud":"hall",)", R"("gateway":1,)", R"("lock":5,)", R"("exp":31,)", R"(,"jti":"a")"}) {
        command.ExpectRefused(claim, {""});
    }
    command.ExpectRefused(R"("a")", {R"("")"});
}

// What an answer tells by its result, its code tells too.
TEST(MqttSchemas, KeepWhatBelongsTogether) {
    const RightText reply("mqtt-reply", R"({"time":1,"gateway":1,"lock":5,"result":"not-fresh","errorCode":-7})");
    const std::string notFresh = R"("not-fresh","errorCode":-7)";
    const std::string status =
        R"(,"status":{"battery":"full","capacity_at_least":95,"battery_warning":false,"battery_alarm":false,)"
        R"("mechanical_active":false,"fire_mode":false,"reader_connected":true})";
    reply.ExpectFits(notFresh, {R"("ack","errorCode":0)" + status, R"("nack","errorCode":0)"});
    reply.ExpectRefused(notFresh, {R"("ack","errorCode":1)", R"("not-fresh","errorCode":7)", R"("nack","errorCode":-7)",
                                   R"("nack","errorCode":0)" + status, notFresh + status});
    RightText("mqtt-event", R"({"id":"0f8fad5b-d9cb-469f-a165-70867728950e-17","time":1,"event_type":"pin"})")
        .ExpectRefused(R"("pin")", {R"("pin","card":"*1234")"});
}

TEST(ProxySchema, TakesTheExamplesOfThePackage) {
    for (const std::string file : {"proxy.json", "proxy-mqtt.json"}) {
        const RightText example("proxy", Documents::ReadDocument("../packaging/proxy/examples/" + file));
        example.ExpectRefused("{", {R"({"Unheard":1,)"});
    }
}

}  // namespace
