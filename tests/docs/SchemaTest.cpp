// The bounds, enumerations and patterns of the schemas. That members are there, of their type and no others is shown by
// SpoiledExamplesTest.cpp.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/docs/support/DocumentFile.h"
#include "tests/docs/support/JsonSchema.h"

namespace {

using Documents::JsonSchema;

struct TextRow {
    const char* name;
    const char* json;
};

void ExpectAllRefused(const JsonSchema& schema, const std::vector<TextRow>& rows) {
    for (const TextRow& row : rows) {
        EXPECT_NE(schema.ViolationIn(row.json), "") << row.name << ": " << row.json;
    }
}

void ExpectAllFit(const JsonSchema& schema, const std::vector<TextRow>& rows) {
    for (const TextRow& row : rows) {
        EXPECT_EQ(schema.ViolationIn(row.json), "") << row.name << ": " << row.json;
    }
}

TEST(RequestSchema, RefusesWhatIsNoRequest) {
    ExpectAllRefused(
        JsonSchema::Request(),
        {
            {"empty message ID", R"({"MessageID":"","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})"},
            {"message ID of the Mux",
             R"({"MessageID":"a requestNewSEQID-1","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})"},
            {"code of an answer", R"({"MessageID":"a","MessageCode":0,"Data":{"gatewayID":1,"lockID":5}})"},
            {"code 2", R"({"MessageID":"a","MessageCode":2,"Data":{"gatewayID":1,"lockID":5}})"},
            {"code 20", R"({"MessageID":"a","MessageCode":20,"Data":{"gatewayID":1,"lockID":5}})"},
            {"code 112", R"({"MessageID":"a","MessageCode":112,"Data":{"gatewayID":1,"lockID":5}})"},
            {"time stamp beyond 64 bits",
             R"({"Timestamp":9223372036854775808,"MessageID":"a","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})"},
            {"misspelt member", R"({"messageID":"a","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})"},
            {"time stamp below 64 bits",
             R"({"Timestamp":-9223372036854775809,"MessageID":"a","MessageCode":10,"Data":{"gatewayID":1,)"
             R"("lockID":5}})"},
            {"data of another code",
             R"({"MessageID":"a","MessageCode":10,"Data":{"gatewayID":1,"lockID":5,"cardData":"04A1B2C3"}})"},
        });
}

TEST(RequestSchema, RefusesALockOrDurationThatIsNone) {
    ExpectAllRefused(
        JsonSchema::Request(),
        {
            {"misspelt lock ID", R"({"MessageID":"a","MessageCode":11,"Data":{"gatewayID":1,"lockId":5}})"},
            {"lock ID beyond 32 bits",
             R"({"MessageID":"a","MessageCode":14,"Data":{"gatewayID":1,"lockID":2147483648}})"},
            {"gateway ID below 32 bits",
             R"({"MessageID":"a","MessageCode":22,"Data":{"gatewayID":-2147483649,"lockID":5}})"},
            {"duration of an opening",
             R"({"MessageID":"a","MessageCode":10,"Data":{"gatewayID":1,"lockID":5,"duration":7}})"},
            {"duration 0", R"({"MessageID":"a","MessageCode":13,"Data":{"gatewayID":1,"lockID":5,"duration":0}})"},
            {"duration 256", R"({"MessageID":"a","MessageCode":113,"Data":{"gatewayID":1,"lockID":5,"duration":256}})"},
        });
}

TEST(RequestSchema, RefusesACardThatIsNone) {
    const auto request = [](const std::string& card) {
        return R"({"MessageID":"a","MessageCode":21,"Data":{"gatewayID":1,"lockID":5)" + card + "}}";
    };
    const auto digits = [](std::size_t count) { return R"(,"cardData":")" + std::string(count, 'A') + "\""; };
    const JsonSchema& schema = JsonSchema::Request();
    for (const std::string& wrong :
         {std::string(), std::string(R"(,"cardData":"")"), std::string(R"(,"cardData":"123")"),
          std::string(R"(,"cardData":"0G")"), std::string(R"(,"cardData":4711)"), digits(468),
          digits(22) + R"(,"isUIDCard":true)", digits(8) + R"(,"isUIDCard":true,"setupNumber":1)",
          digits(8) + R"(,"isUIDCard":"true")", digits(8) + R"(,"isUidCard":true)", digits(8) + R"(,"setupNumber":-1)",
          digits(8) + R"(,"setupNumber":256)", digits(8) + R"(,"setupNumber":"1")", digits(8) + R"(,"options":2)",
          digits(8) + R"(,"options":true)", digits(8) + R"(,"duration":1)"}) {
        EXPECT_NE(schema.ViolationIn(request(wrong)), "") << wrong;
    }
    for (const std::string& right :
         {digits(2), digits(466), digits(20) + R"(,"isUIDCard":true)", digits(22) + R"(,"isUIDCard":false)",
          digits(8) + R"(,"isUIDCard":true,"setupNumber":0)", digits(8) + R"(,"setupNumber":255,"options":0)"}) {
        EXPECT_EQ(schema.ViolationIn(request(right)), "") << right;
    }
}

TEST(RequestSchema, TakesWhatIsAtTheEdge) {
    ExpectAllFit(
        JsonSchema::Request(),
        {
            {"without time stamp", R"({"MessageID":"a","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})"},
            {"least numbers", R"({"Timestamp":-9223372036854775808,"MessageID":"a","MessageCode":14,)"
                              R"("Data":{"gatewayID":-2147483648,"lockID":-2147483648}})"},
            {"greatest numbers", R"({"Timestamp":9223372036854775807,"MessageID":"a","MessageCode":114,)"
                                 R"("Data":{"gatewayID":2147483647,"lockID":2147483647}})"},
            {"least duration", R"({"MessageID":"a","MessageCode":13,"Data":{"gatewayID":1,"lockID":5,"duration":1}})"},
            {"greatest duration",
             R"({"MessageID":"a","MessageCode":113,"Data":{"gatewayID":1,"lockID":5,"duration":255}})"},
        });
}

TEST(AnswerSchema, RefusesWhatIsNoAnswer) {
    ExpectAllRefused(
        JsonSchema::Answer(),
        {
            {"time stamp beyond 32 bits", R"({"Timestamp":2147483648,"MessageID":"a","MessageCode":0,"Data":{}})"},
            {"code of a request", R"({"Timestamp":1,"MessageID":"a","MessageCode":10,"Data":{}})"},
            {"error of an ACK",
             R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"ErrorCode":0,"Message":"x"}})"},
            {"NACK of success",
             R"({"Timestamp":1,"MessageID":"a","MessageCode":1,"Data":{"Success":true,"ErrorCode":0}})"},
            {"NACK beyond a byte",
             R"({"Timestamp":1,"MessageID":"a","MessageCode":1,"Data":{"ErrorCode":256,"Message":"x"}})"},
            {"no success", R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Success":false,"ErrorCode":0}})"},
            {"success with an error",
             R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Success":true,"ErrorCode":3}})"},
            {"time stamp below 32 bits", R"({"Timestamp":-2147483649,"MessageID":"a","MessageCode":0,"Data":{}})"},
            {"NACK below those of the proxy",
             R"({"Timestamp":1,"MessageID":"a","MessageCode":1,"Data":{"ErrorCode":-7,"Message":"x"}})"},
        });
}

TEST(AnswerSchema, TakesTheErrorsOfTheProxy) {
    ExpectAllFit(
        JsonSchema::Answer(),
        {
            {"not allowed", R"({"Timestamp":1,"MessageID":"","MessageCode":1,"Data":{"ErrorCode":-1,"Message":"x"}})"},
            {"not audited", R"({"Timestamp":1,"MessageID":"a","MessageCode":1,"Data":{"ErrorCode":-6,"Message":"x"}})"},
        });
}

TEST(AnswerSchema, RefusesAStatusBeyondItsBounds) {
    const std::string start = R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":)";
    const std::string status = R"({"BatteryStatus":3,"QoS":3,"MechanicalActive":true,"BatteryWarningLevel":false,)"
                               R"("BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":true})";
    const auto with = [&](const std::string& part, const std::string& other) {
        std::string changed = status;
        return start + changed.replace(changed.find(part), part.size(), other) + "}";
    };
    const JsonSchema& schema = JsonSchema::Answer();
    ASSERT_EQ(schema.ViolationIn(start + status + "}"), "");
    for (const std::string& wrong :
         {with(R"("BatteryStatus":3)", R"("BatteryStatus":4)"), with(R"("BatteryStatus":3)", R"("BatteryStatus":-1)"),
          with(R"("QoS":3)", R"("QoS":-1)"), with(R"("QoS":3)", R"("QoS":4)"),
          with(R"("ScandinavianFireMode":false)", R"("ScandinavianFireMode":true)"),
          with(R"("ReaderConnected":true)", R"("ReaderConnected":true,"Success":true)")}) {
        EXPECT_NE(schema.ViolationIn(wrong), "") << wrong;
    }
}

TEST(EventSchema, RefusesWhatIsNoEvent) {
    const std::string event =
        R"({"Timestamp":1,"MessageID":"lockEventMessage-1","MessageCode":51,"Data":{"gatewayID":1,"lockID":5,)"
        R"("timestamp":"1:2:3 4-5-2023","RFIDData":"0A"}})";
    const auto with = [&](const std::string& part, const std::string& other) {
        std::string changed = event;
        return changed.replace(changed.find(part), part.size(), other);
    };
    const JsonSchema& schema = JsonSchema::Event();
    ASSERT_EQ(schema.ViolationIn(event), "");
    for (const std::string& wrong :
         {with("\"Timestamp\":1", "\"Timestamp\":2147483648"), with("\"Timestamp\":1", "\"Timestamp\":-2147483649"),
          with("lockEventMessage-1", "lockEventMessage-"), with("lockEvent", "xlockEvent"), with("51", "10"),
          with("51", "0"), with("51", "52"), with(R"("gatewayID":1)", R"("gatewayID":2147483648)"),
          with(R"("gatewayID":1)", R"("gatewayID":-2147483649)"), with(R"("lockID":5)", R"("lockID":65536)"),
          with(R"("lockID":5)", R"("lockID":-1)"), with("1:2:3 4-5-2023", "2023-05-04T01:02:03"),
          with("1:2:3 4-5-2023", "1:2:3 4-5-23"), with("\"0A\"", "\"0a\""), with("\"0A\"", "\"0\"")}) {
        EXPECT_NE(schema.ViolationIn(wrong), "") << wrong;
    }
    EXPECT_EQ(schema.ViolationIn(with("\"0A\"", "\"\"")), "") << "a card without bytes";
}

TEST(ConfigurationSchema, RefusesWhatTheMuxWouldTakeForSomethingElse) {
    ExpectAllRefused(
        JsonSchema::Configuration(),
        {
            {"enabled by a number", R"({"Enabled":1,"Gateways":[]})"},
            {"misspelt member", R"({"Enabled":true,"Gateways":[],"gateways":[]})"},
            {"ID beyond 32 bits",
             R"({"Enabled":true,"Gateways":[{"ID":2147483648,"IpAddress":"192.168.1.20","Port":2101}]})"},
            {"empty address", R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"","Port":2101}]})"},
            {"port 0", R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"192.168.1.20","Port":0}]})"},
            {"port 65536", R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"192.168.1.20","Port":65536}]})"},
            {"misspelt member of a gateway",
             R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"192.168.1.20","Port":2101,"devices":[]}]})"},
            {"misspelt member of a device",
             R"({"Enabled":true,"Gateways":[{"ID":1,"IpAddress":"192.168.1.20","Port":2101,"Devices":[{"ID":5,)"
             R"("name":"x"}]}]})"},
            {"ID below 32 bits",
             R"({"Enabled":true,"Gateways":[{"ID":-2147483649,"IpAddress":"192.168.1.20","Port":2101}]})"},
        });
}

TEST(ConfigurationSchema, TakesWhatIsAtTheEdge) {
    ExpectAllFit(
        JsonSchema::Configuration(),
        {
            {"not enabled", R"({"Enabled":false,"Gateways":[]})"},
            {"least port", R"({"Enabled":true,"Gateways":[{"ID":-2147483648,"IpAddress":"a","Port":1}]})"},
            {"greatest port",
             R"({"Enabled":true,"Gateways":[{"ID":2147483647,"IpAddress":"a","Port":65535,"Devices":[{"ID":-1}]}]})"},
        });
}

TEST(SimulatorSchema, RefusesWhatTheSimulatorRefuses) {
    const auto file = [](const std::string& members) { return R"({"Gateways":[{"ID":1,)" + members + "}]}"; };
    const auto lock = [&](const std::string& members) { return file(R"("Devices":[{"ID":5,)" + members + "}]"); };
    const JsonSchema& schema = JsonSchema::Simulator();
    for (const std::string& wrong :
         {std::string(R"({"Gateways":[]})"), file(R"("IpAddress":"")"), file(R"("Port":-1)"), file(R"("Port":65536)"),
          file(R"("Counter":-1)"), file(R"("Counter":4294967296)"), file(R"("WhitelistCapacity":-1)"),
          file(R"("WhitelistCapacity":1000001)"), lock(R"("BatteryStatus":4)"), lock(R"("BatteryStatus":-1)"),
          lock(R"("BatteryLevel":4)"), lock(R"("BatteryLevel":-1)")}) {
        EXPECT_NE(schema.ViolationIn(wrong), "") << wrong;
    }
    for (const std::string& right :
         {file(R"("IpAddress":"::1")"), file(R"("IpAddress":"hall.local")"), file(R"("Port":0)"),
          file(R"("Port":65535)"), file(R"("Counter":0)"), file(R"("Counter":4294967295)"),
          file(R"("WhitelistCapacity":0)"), file(R"("WhitelistCapacity":1000000)"),
          lock(R"("BatteryStatus":0,"BatteryLevel":0)"), lock(R"("BatteryStatus":3,"BatteryLevel":3)")}) {
        EXPECT_EQ(schema.ViolationIn(right), "") << right;
    }
}

TEST(MqttCommandSchema, RefusesWhatTheProxyRefuses) {
    const auto command = [](const std::string& members) {
        return R"({"iat":1795185612.5,"operation":)" + members + "}";
    };
    const JsonSchema& schema = JsonSchema::MqttCommand();
    for (const std::string& wrong :
         {std::string(R"({"operation":"open"})"), std::string(R"({"operation":"open","iat":"1795185612"})"),
          std::string(R"({"operation":"open","iat":1795185612500})"), std::string(R"({"iat":1795185612})"),
          command(R"("explode")"), command(R"("open-close")"), command(R"("open-close","duration":0)"),
          command(R"("open-close","duration":256)"), command(R"("whitelist-add")"),
          command(R"("whitelist-add","card":"04A")"), command(R"("whitelist-add","card":"04G1")"),
          command(R"("whitelist-add","uid":true,"card":"0102030405060708090A0B")"),
          command(R"("whitelist-remove","card":"04","setup":256)"), command(R"("open","gateway":2147483648)"),
          command(R"("whitelist-remove","card":"04","options":2)"), command(R"("open","x":1)")}) {
        EXPECT_NE(schema.ViolationIn(wrong), "") << wrong;
    }
    for (const std::string& right :
         {command(R"("status")"), command(R"("event-open-close","duration":255)"),
          command(R"("whitelist-add","uid":true,"card":"0102030405060708090a","setup":0,"options":1)"),
          command(R"("whitelist-add","uid":false,"card":"0102030405060708090A0B")")}) {
        EXPECT_EQ(schema.ViolationIn(right), "") << right;
    }
}

TEST(MqttSignedCommandSchema, RequiresEveryClaimOfASignature) {
    const std::string claims = R"({"operation":"open","iat":1,"aud":"hall","gateway":1,"lock":5,"exp":31,"jti":"a"})";
    const JsonSchema& schema = JsonSchema::MqttSignedCommand();
    ASSERT_EQ(schema.ViolationIn(claims), "");
    for (const std::string claim : {R"("aud":"hall",)", R"("gateway":1,)", R"("lock":5,)", R"("exp":31,)"}) {
        std::string without = claims;
        EXPECT_NE(schema.ViolationIn(without.erase(without.find(claim), claim.size())), "") << claim;
    }
    EXPECT_NE(schema.ViolationIn(claims.substr(0, claims.rfind(',')) + "}"), "") << "without jti";
    EXPECT_NE(schema.ViolationIn(claims.substr(0, claims.rfind(':')) + R"(:""})"), "") << "empty jti";
}

// What an answer tells by its result, its code tells too.
TEST(MqttSchemas, KeepWhatBelongsTogether) {
    const std::string answer = R"({"time":1,"gateway":1,"lock":5,"result":)";
    EXPECT_EQ(JsonSchema::MqttReply().ViolationIn(answer + R"("not-fresh","errorCode":-7})"), "");
    for (const std::string wrong : {R"("ack","errorCode":1})", R"("not-fresh","errorCode":7})",
                                    R"("nack","errorCode":-7})", R"("nack","errorCode":0,"status":{}})"}) {
        EXPECT_NE(JsonSchema::MqttReply().ViolationIn(answer + wrong), "") << wrong;
    }
    const std::string event = R"({"id":"0f8fad5b-d9cb-469f-a165-70867728950e-17","time":1,"event_type":"pin")";
    EXPECT_EQ(JsonSchema::MqttEvent().ViolationIn(event + "}"), "");
    EXPECT_NE(JsonSchema::MqttEvent().ViolationIn(event + R"(,"card":"*1234"})"), "");
}

TEST(ProxySchema, TakesTheExamplesOfThePackage) {
    const JsonSchema schema("proxy");
    for (const std::string file : {"proxy.json", "proxy-mqtt.json"}) {
        const std::string example = Documents::ReadDocument("../packaging/proxy/examples/" + file);
        EXPECT_EQ(schema.ViolationIn(example), "") << file;
        EXPECT_NE(schema.ViolationIn(example.substr(0, example.rfind('}')) + R"(,"Unheard":1})"), "") << file;
    }
}

}  // namespace
