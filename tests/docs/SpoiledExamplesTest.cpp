// Right examples, spoiled in every place: each schema must refuse all of them.

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/pointer.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/docs/support/JsonSchema.h"

namespace {

using Documents::JsonSchema;
using rapidjson::Document;
using rapidjson::Pointer;
using rapidjson::Value;

struct RightExample {
    const char* schema;
    const char* json;
    // Members that may be left out, as JSON pointers.
    std::vector<std::string> optional;
};

const std::vector<RightExample> kExamples = {
    {"configuration",
     R"({"Enabled":true,"Gateways":[{"ID":1,"Description":"Hall","IpAddress":"192.168.1.20","Port":2101,)"
     R"("Devices":[{"Name":"Door","ID":5}]}]})",
     {"/Gateways/0/Description", "/Gateways/0/Devices", "/Gateways/0/Devices/0/Name"}},
    {"simulator",
     R"({"Enabled":true,"Gateways":[{"ID":1,"Description":"Hall","IpAddress":"127.0.0.1","Port":2101,"Counter":41,)"
     R"("WhitelistCapacity":3,"WhitelistFile":"a","Devices":[{"Name":"Door","ID":5,"Open":true,"BatteryStatus":1,)"
     R"("BatteryLevel":0,"MechanicalActive":true,"BatteryWarning":true,"BatteryAlarm":true}]}]})",
     {"/Enabled", "/Gateways/0/Description", "/Gateways/0/IpAddress", "/Gateways/0/Port", "/Gateways/0/Counter",
      "/Gateways/0/WhitelistCapacity", "/Gateways/0/WhitelistFile", "/Gateways/0/Devices", "/Gateways/0/Devices/0/Name",
      "/Gateways/0/Devices/0/Open", "/Gateways/0/Devices/0/BatteryStatus", "/Gateways/0/Devices/0/BatteryLevel",
      "/Gateways/0/Devices/0/MechanicalActive", "/Gateways/0/Devices/0/BatteryWarning",
      "/Gateways/0/Devices/0/BatteryAlarm"}},
    {"request",
     R"({"Timestamp":1,"MessageID":"a","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})",
     {"/Timestamp"}},
    {"request",
     R"({"Timestamp":1,"MessageID":"a","MessageCode":13,"Data":{"gatewayID":1,"lockID":5,"duration":7}})",
     {"/Timestamp"}},
    {"request",
     R"({"Timestamp":1,"MessageID":"a","MessageCode":21,"Data":{"gatewayID":1,"lockID":5,"setupNumber":0,"options":1,)"
     R"("cardData":"04A1B2C3","isUIDCard":true}})",
     {"/Timestamp", "/Data/setupNumber", "/Data/options", "/Data/isUIDCard"}},
    {"answer", R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{}})", {}},
    {"answer", R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})", {}},
    {"answer",
     R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"BatteryStatus":3,"QoS":3,"MechanicalActive":true,)"
     R"("BatteryWarningLevel":false,"BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":true}})",
     {}},
    {"answer",
     R"({"Timestamp":1,"MessageID":"a","MessageCode":1,"Data":{"ErrorCode":0,"Message":"Error in request"}})",
     {}},
    {"event",
     R"({"Timestamp":1,"MessageID":"lockEventMessage-1","MessageCode":51,"Data":{"gatewayID":1,"lockID":5,)"
     R"("timestamp":"1:2:3 4-5-2023","RFIDData":"0A"}})",
     {}},
    {"mqtt-event",
     R"({"id":"0f8fad5b-d9cb-469f-a165-70867728950e-17","time":1,"event_type":"card","card":"*B2C3"})",
     {"/card"}},
    {"mqtt-result",
     R"({"id":"0f8fad5b-d9cb-469f-a165-70867728950e-17","time":1,"client":"","operation":"whitelist-add",)"
     R"("result":"not-sent","errorCode":-3,"milliseconds":1,"card":"04A1B2C3","remark":"a"})",
     {"/card", "/remark"}},
    {"mqtt-reply",
     R"({"id":"0f8fad5b-d9cb-469f-a165-70867728950e-17","time":1,"operation":"open","gateway":1,"lock":5,)"
     R"("result":"nack","errorCode":12,"text":"a"})",
     {"/id", "/operation", "/text"}},
    {"mqtt-reply",
     R"({"time":1,"gateway":1,"lock":5,"result":"ack","errorCode":0,"status":{"battery":"full",)"
     R"("capacity_at_least":95,"battery_warning":false,"battery_alarm":false,"mechanical_active":false,)"
     R"("fire_mode":false,"reader_connected":true}})",
     {"/status"}},
    {"mqtt-state",
     R"({"time":1,"battery":"full","capacity_at_least":95,"battery_warning":false,"battery_alarm":false,)"
     R"("mechanical_active":false,"fire_mode":false,"reader_connected":true})",
     {}},
};

// One value of each type.
const std::vector<const char*> kOtherValues = {"null", "true", "7.5", "7", "\"7\"", "[]", "{}"};

std::string TextOf(const Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return buffer.GetString();
}

// The places of all values in the document, as JSON pointers; that of the root is empty.
std::vector<std::string> PlacesIn(const Value& value, const std::string& place = "") {
    std::vector<std::string> places = {place};
    const auto add = [&places](const std::vector<std::string>& inner) {
        places.insert(places.end(), inner.begin(), inner.end());
    };
    if (value.IsObject()) {
        for (const auto& member : value.GetObject()) {
            add(PlacesIn(member.value, place + "/" + member.name.GetString()));
        }
    }
    if (value.IsArray()) {
        for (rapidjson::SizeType index = 0; index < value.Size(); ++index) {
            add(PlacesIn(value[index], place + "/" + std::to_string(index)));
        }
    }
    return places;
}

bool AreOfOneType(const Value& one, const Value& other) {
    if (one.IsNumber() && other.IsNumber()) {
        return one.IsInt() && other.IsInt();
    }
    return one.GetType() == other.GetType() || (one.IsBool() && other.IsBool());
}

class Spoiler {
  public:
    explicit Spoiler(const RightExample& example) : example_(example), schema_(JsonSchema::Named(example.schema)) {
        right_.Parse(example.json);
    }

    void ExpectTheExampleFits() const { EXPECT_EQ(schema_.ViolationIn(example_.json), "") << example_.json; }

    void ExpectEveryMemberIsNeeded() const {
        for (const std::string& place : PlacesIn(right_)) {
            const Value& parent = *Pointer(place.substr(0, place.rfind('/')).c_str()).Get(right_);
            if (!place.empty() && parent.IsObject()) {
                Document spoiled = Copy();
                Pointer(place.c_str()).Erase(spoiled);
                const bool mayBeLeftOut = std::count(example_.optional.begin(), example_.optional.end(), place) != 0;
                EXPECT_EQ(schema_.ViolationIn(TextOf(spoiled)).empty(), mayBeLeftOut) << TextOf(spoiled);
            }
        }
    }

    void ExpectEveryTypeIsFixed() const {
        for (const std::string& place : PlacesIn(right_)) {
            for (const char* const text : kOtherValues) {
                Document spoiled = Copy();
                Document other(&spoiled.GetAllocator());
                other.Parse(text);
                Value& value = *Pointer(place.c_str()).Get(spoiled);
                if (!AreOfOneType(value, other)) {
                    value.Swap(other);
                    ExpectRefused(spoiled);
                }
            }
        }
    }

    void ExpectNoOtherMember() const {
        for (const std::string& place : PlacesIn(right_)) {
            Document spoiled = Copy();
            Value& value = *Pointer(place.c_str()).Get(spoiled);
            if (value.IsObject()) {
                value.AddMember("x", 1, spoiled.GetAllocator());
                ExpectRefused(spoiled);
            }
        }
    }

  private:
    Document Copy() const {
        Document copy;
        copy.CopyFrom(right_, copy.GetAllocator());
        return copy;
    }

    void ExpectRefused(const Document& spoiled) const {
        EXPECT_NE(schema_.ViolationIn(TextOf(spoiled)), "") << TextOf(spoiled);
    }

    const RightExample& example_;
    const JsonSchema& schema_;
    Document right_;
};

TEST(SpoiledExamples, AreRefused) {
    for (const RightExample& example : kExamples) {
        const Spoiler spoiler(example);
        spoiler.ExpectTheExampleFits();
        spoiler.ExpectEveryMemberIsNeeded();
        spoiler.ExpectEveryTypeIsFixed();
        spoiler.ExpectNoOtherMember();
    }
}

}  // namespace
