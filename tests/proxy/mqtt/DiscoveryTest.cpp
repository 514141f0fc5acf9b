#include "proxy/mqtt/Discovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <set>

#include "json/RapidJson.h"
#include "json/Reading.h"
#include "json/Tree.h"
#include "proxy/mqtt/LockStates.h"
#include "tests/proxy/mqtt/RecordedBroker.h"

// It has the settings of json/RapidJson.h.
#include <rapidjson/schema.h>

namespace MuxProxy {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

const Topics kSite("p", "hall");
const MuxLocks kSiteLocks = {{{1, 70000}, "Ground floor", "Front door"}, {{1, 6}, "", ""}};

struct DiscoveryTest : testing::Test {
    DiscoveryTest() {
        std::ifstream file(DISCOVERY_SCHEMA);
        const std::string text((std::istreambuf_iterator<char>(file)), {});
        EXPECT_TRUE(Json::Parse(text, schemas));
        for (const char* const component : {"lock", "event", "sensor", "binary_sensor"}) {
            rapidjson::Value& members = schemas[component]["properties"];
            for (const auto& common : schemas["common"].GetObject()) {
                members.AddMember({common.name, schemas.GetAllocator()}, {common.value, schemas.GetAllocator()},
                                  schemas.GetAllocator());
            }
        }
    }

    // All messages, by the topic.
    std::map<std::string, std::string> Messages() {
        RetainedMessages& messages = discovery.Messages();
        messages.Opened(1);
        for (PublishNumber number = 1; number <= broker.messages.size(); ++number) {
            messages.Published(number);
        }
        std::map<std::string, std::string> byTopic;
        for (const BrokerMessage& message : broker.messages) {
            EXPECT_TRUE(message.isRetained);
            byTopic[message.topic] = message.payload;
        }
        return byTopic;
    }

    // Where a message breaks which rule of its component's.
    std::string ViolationIn(const std::string& component, const std::string& text) {
        rapidjson::Document message;
        if (!Json::Parse(text, message)) {
            return "not JSON";
        }
        const rapidjson::SchemaDocument schema(*Json::FindMember(schemas, component.c_str()));
        rapidjson::SchemaValidator validator(schema);
        if (message.Accept(validator)) {
            return "";
        }
        rapidjson::StringBuffer where;
        validator.GetInvalidDocumentPointer().StringifyUriFragment(where);
        return std::string(validator.GetInvalidSchemaKeyword()) + " at " + where.GetString() + " of " + text;
    }

    RecordedBroker broker;
    Discovery discovery{broker, {"homeassistant", "ha"}, kSite, kSiteLocks, true, [] { return 0.5; }};
    rapidjson::Document schemas;
};

std::string ComponentOf(const std::string& topic) {
    const std::size_t start = topic.find('/') + 1;
    return topic.substr(start, topic.find('/', start) - start);
}

TEST_F(DiscoveryTest, ALockHasTheseEntities) {
    std::vector<std::string> topics;
    for (const auto& [topic, text] : Messages()) {
        topics.push_back(topic);
    }
    EXPECT_THAT(
        topics,
        ElementsAre("homeassistant/binary_sensor/p-hall/g1-l6-battery-low/config",
                    "homeassistant/binary_sensor/p-hall/g1-l70000-battery-low/config",
                    "homeassistant/binary_sensor/p-hall/status/config", "homeassistant/event/p-hall/g1-l6-event/config",
                    "homeassistant/event/p-hall/g1-l70000-event/config", "homeassistant/lock/p-hall/g1-l6-lock/config",
                    "homeassistant/lock/p-hall/g1-l70000-lock/config",
                    "homeassistant/sensor/p-hall/g1-l6-battery-condition/config",
                    "homeassistant/sensor/p-hall/g1-l6-battery/config",
                    "homeassistant/sensor/p-hall/g1-l70000-battery-condition/config",
                    "homeassistant/sensor/p-hall/g1-l70000-battery/config"));
}

TEST_F(DiscoveryTest, EveryMessageHasKnownKeysOnly) {
    for (const auto& [topic, text] : Messages()) {
        EXPECT_EQ(ViolationIn(ComponentOf(topic), text), "") << topic;
    }
    EXPECT_THAT(
        ViolationIn("lock", R"({"command_topic":"a","unique_id":"b","device":{"identifiers":["c"]},"retain":true})"),
        testing::HasSubstr("/retain"))
        << "the schema checks nothing";
}

TEST_F(DiscoveryTest, ALockIsOperatedByCommandsWithTheirTime) {
    EXPECT_EQ(
        Messages().at("homeassistant/lock/p-hall/g1-l70000-lock/config"),
        R"({"command_topic":"p/hall/gateway/1/lock/70000/command/ha",)"
        R"("command_template":"{\"operation\":\"{{ value }}\"{% if value == 'open-close' %},\"duration\":5{% endif %},)"
        R"(\"iat\":{{ now().timestamp() }} }",)"
        R"("payload_lock":"close","payload_unlock":"open","payload_open":"open-close","optimistic":true,"retain":false,)"
        R"("unique_id":"p-hall-g1-l70000-lock","name":"Lock","qos":1,"availability_topic":"p/hall/status",)"
        R"("device":{"identifiers":["p-hall-g1-l70000"],"name":"Front door","via_device":"p-hall",)"
        R"("suggested_area":"Ground floor"}})");
}

TEST_F(DiscoveryTest, TheTopicsAreThoseOfTheSite) {
    std::set<std::string> topics;
    std::set<std::string> ids;
    for (const auto& [topic, text] : Messages()) {
        rapidjson::Document message;
        ASSERT_TRUE(Json::Parse(text, message));
        EXPECT_TRUE(ids.insert(message["unique_id"].GetString()).second) << topic;
        for (const char* const name : {"state_topic", "command_topic", "availability_topic"}) {
            if (const rapidjson::Value* const value = Json::FindMember(message, name)) {
                topics.insert(value->GetString());
            }
        }
    }
    EXPECT_EQ(topics, (std::set<std::string>{kSite.Status(), kSite.Event({1, 6}), kSite.Event({1, 70000}),
                                             kSite.State({1, 6}), kSite.State({1, 70000}), kSite.Command({1, 6}, "ha"),
                                             kSite.Command({1, 70000}, "ha")}));
}

TEST_F(DiscoveryTest, ASiteThatRequiresSignaturesShowsOnly) {
    Discovery showing(broker, {}, kSite, kSiteLocks, false, [] { return 0.0; });
    showing.Messages().Opened(1);
    for (const BrokerMessage& message : broker.messages) {
        EXPECT_THAT(message.payload, Not(testing::HasSubstr("command_topic")));
    }
    EXPECT_THAT(broker.messages, testing::SizeIs(9));
}

TEST_F(DiscoveryTest, AllGoesOutAgainAfterHomeAssistantHasStarted) {
    const std::size_t count = Messages().size();
    broker.Taken();
    EXPECT_EQ(discovery.BirthTopic(), "homeassistant/status");
    EXPECT_EQ(discovery.NextTime(), std::nullopt);
    const Discovery::Time now{seconds(1000)};
    discovery.Started(now);
    EXPECT_EQ(discovery.NextTime(), now + milliseconds(5500));
    EXPECT_FALSE(discovery.Advance(now + milliseconds(5499)));
    EXPECT_THAT(broker.Taken(), IsEmpty());
    EXPECT_TRUE(discovery.Advance(now + milliseconds(5500)));
    EXPECT_THAT(broker.Taken(), testing::SizeIs(count));
    EXPECT_EQ(discovery.NextTime(), std::nullopt);
}

TEST(LockStatesTest, TheLastStatusIsRetained) {
    RecordedBroker broker;
    LockStates states(broker, kSite);
    states.Messages().Opened(1);
    MuxClient::LockStatus status;
    status.batteryStatus = 3;
    status.qualityOfService = 3;
    status.readerConnected = true;
    states.StatusCame({1, 5}, status, std::chrono::system_clock::time_point(milliseconds(1795185612500)));
    EXPECT_THAT(
        broker.Taken(),
        ElementsAre(R"(p/hall/gateway/1/lock/5/state {"time":1795185612500,"battery":"full","capacity_at_least":95,)"
                    R"("battery_warning":false,"battery_alarm":false,"mechanical_active":false,"fire_mode":false,)"
                    R"("reader_connected":true})"));
}

}  // namespace
}  // namespace MuxProxy
