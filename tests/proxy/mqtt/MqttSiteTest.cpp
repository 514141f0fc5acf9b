#include "proxy/mqtt/MqttSite.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/proxy/mqtt/RunningBroker.h"
#include "tests/tools/jose/TestKeys.h"
#include "tools/jose/SigningKey.h"

namespace MuxProxy {
namespace {

using std::chrono::seconds;

MqttSettings SettingsFor(const Testing::RunningBroker& broker) {
    MqttSettings settings;
    settings.host = "127.0.0.1";
    settings.port = static_cast<std::uint16_t>(broker.Port());
    settings.site = "hall";
    settings.prefix = "p";
    settings.discovery = DiscoverySettings{};
    return settings;
}

// A site with an audit, at a broker, and everything that the broker sends.
struct MqttSiteTest : testing::Test {
    MqttSiteTest() {
        EXPECT_TRUE(broker.WaitForLog("Sending SUBACK to watcher"));
        OpenAudit();
    }

    void OpenAudit() {
        AuditSettings settings;
        settings.file = (folder.Path() / "audit.db").string();
        AuditHooks hooks;
        site.SetHooks(hooks);
        audit.emplace(settings, AuditLimits{}, hooks);
    }

    void Start() {
        site.Start(
            *audit,
            [this](const ClientIdentity& client, std::string_view text, CommandPorts::Answered answered) {
                asked = client.name + " " + std::string(text);
                answer = std::move(answered);
            },
            [this](bool connected) { isConnected = connected; });
    }

    // Runs the loop until the watcher has this.
    bool Sees(const std::string& text) {
        return RunUntil([&] { return watcher.Output().find(text) != std::string::npos; });
    }

    template <typename Condition>
    bool RunUntil(const Condition& condition) {
        const auto end = std::chrono::steady_clock::now() + seconds(30);
        while (!condition() && std::chrono::steady_clock::now() < end) {
            loop.run_for(std::chrono::milliseconds(5));
            loop.restart();
        }
        return condition();
    }

    std::vector<std::string> Client(const std::string& name, const std::vector<std::string>& options) const {
        std::vector<std::string> command = {name, "-V", "5", "-p", std::to_string(broker.Port())};
        command.insert(command.end(), options.begin(), options.end());
        return command;
    }

    Testing::TemporaryFolder folder;
    Testing::RunningBroker broker{folder, "allow_anonymous true\n"};
    Testing::Process watcher{Client("mosquitto_sub", {"-i", "watcher", "-q", "1", "-t", "#", "-F", "got %t %r %p %D"})};
    boost::asio::io_context loop;
    MqttSite site{loop, SettingsFor(broker), {{{1, 70000}, "", ""}}};
    std::optional<AuditLog> audit;
    bool isConnected = false;
    std::string asked;
    CommandPorts::Answered answer;
};

TEST_F(MqttSiteTest, WhatTheAuditWritesArrivesUnderItsIdAndWaitsForItsBroker) {
    AuditRow row;
    row.kind = "event";
    row.operation = "card";
    row.gateway = 1;
    row.lock = 4464;
    audit->Add(0, row);
    ASSERT_TRUE(RunUntil([this] { return audit->WaitingMessages() == 1; }));
    Start();
    EXPECT_TRUE(Sees("got p/hall/status 0 online"));
    EXPECT_TRUE(Sees("got homeassistant/lock/p-hall/g1-l70000-lock/config 0 {"));
    EXPECT_TRUE(Sees("got p/hall/gateway/1/lock/70000/event 0 {\"id\":\""));
    EXPECT_TRUE(RunUntil([this] { return audit->WaitingMessages() == 0; }));
}

TEST_F(MqttSiteTest, ACommandIsAskedAndAnswered) {
    Start();
    ASSERT_TRUE(RunUntil([this] { return isConnected; }));
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const std::string command =
        R"({"operation":"status","iat":)" + std::to_string(std::chrono::duration_cast<seconds>(now).count()) + "}";
    EXPECT_EQ(Testing::RunToEnd(Client("mosquitto_pub", {"-t", "p/hall/gateway/1/lock/5/command/desk", "-m", command,
                                                         "-D", "publish", "correlation-data", "c1"}))
                  .status,
              0);
    ASSERT_TRUE(RunUntil([this] { return answer != nullptr; }));
    EXPECT_THAT(asked, testing::StartsWith("desk {"));
    answer(R"({"Timestamp":1,"MessageID":"a","MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})");
    EXPECT_TRUE(Sees(R"("operation":"status","gateway":1,"lock":5,"result":"ack","errorCode":0} c1)"));
}

// As on a host that lost its time with its power.
TEST_F(MqttSiteTest, WhatAnEarlierProcessMayHaveUsedIsRefused) {
    AuditRow row;
    row.kind = "proxy";
    // Commands issued up to 5 s ahead are accepted, but not those of the first 5 s.
    const auto acceptance = row.time + std::chrono::milliseconds(200);
    row.time += std::chrono::minutes(10);
    audit->Add(0, row);
    audit.reset();
    OpenAudit();
    const std::string set = Jose::Testing::SetOf(Jose::Testing::PublicJwk());
    site.SetKeys(std::make_shared<const Jose::KeySet>(Jose::KeySet::FromText("keys", set)));
    Start();
    ASSERT_TRUE(RunUntil([this] { return isConnected; }));
    ASSERT_TRUE(RunUntil([&] { return std::chrono::system_clock::now() > acceptance; }));
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto issued = std::chrono::duration_cast<std::chrono::duration<double>>(now).count() + 4.9;
    const std::string claims = R"({"operation":"open","aud":"hall","gateway":1,"lock":5,"jti":"a","iat":)" +
                               std::to_string(issued) + R"(,"exp":)" + std::to_string(issued + 60) + "}";
    const std::string command = Jose::SigningKey::FromText("key", Jose::Testing::PrivateJwk()).Sign(claims);
    const auto published =
        Testing::RunToEnd(Client("mosquitto_pub", {"-t", "p/hall/gateway/1/lock/5/command/reception", "-m", command}));
    EXPECT_EQ(published.status, 0) << published.error;
    EXPECT_TRUE(
        RunUntil([this] { return answer != nullptr || watcher.Output().find("not-fresh") != std::string::npos; }));
    EXPECT_EQ(answer, nullptr);
    EXPECT_TRUE(Sees("it was issued before this proxy started"));
}

TEST_F(MqttSiteTest, AStatusIsRetained) {
    Start();
    site.StatusCame({1, 70000}, {});
    EXPECT_TRUE(Sees("got p/hall/gateway/1/lock/70000/state 0 {"));
}

TEST_F(MqttSiteTest, SaysThatItIsOfflineAtTheEnd) {
    Start();
    ASSERT_TRUE(RunUntil([this] { return isConnected; }));
    site.Stop();
    EXPECT_TRUE(Sees("got p/hall/status 0 offline"));
}

}  // namespace
}  // namespace MuxProxy
