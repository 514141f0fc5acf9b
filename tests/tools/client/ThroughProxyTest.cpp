// The client library through the running mux-proxy, in front of the real Mux.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/LoopbackSocket.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/system/support/MuxSystem.h"
#include "tools/client/Client.h"

namespace MuxClient {
namespace {

using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;
using testing::ThrowsMessage;

// `reception` may do everything, `guest` only read the status of locks.
constexpr const char* kRules = R"([
    {"Clients":["reception"],"Rights":["open","status","events"],"Gateways":"all","Locks":"all"},
    {"Clients":["guest"],"Rights":["status"],"Gateways":"all","Locks":"all"}])";

class ThroughProxyTest : public testing::Test {
  protected:
    ThroughProxyTest() {
        MakeCertificates({"server", "localhost"});
        MakeCertificates({"client", "reception"});
        MakeCertificates({"client", "guest"});
        EXPECT_TRUE(proxy_.emplace(ProxyCommand()).WaitForErrorOutput("Connected to the Mux"));
    }

    MuxAddress Entrance(const std::string& client) const {
        const std::string files = folder_.Path() / "clients" / client;
        const std::string authority = folder_.Path() / "authority.crt";
        return {"127.0.0.1", port_, TlsSettings{authority, files + ".crt", files + ".key", "localhost"}};
    }

    SystemTest::MuxSystem system_{SystemTest::WithGateways({{1, {5}}, {2, {6}}})};

  private:
    void MakeCertificates(const std::vector<std::string>& what) const {
        std::vector<std::string> command = {CERTIFICATES_SCRIPT, folder_.Path()};
        command.insert(command.end(), what.begin(), what.end());
        EXPECT_EQ(Testing::RunToEnd(command).status, 0);
    }

    std::vector<std::string> ProxyCommand() const {
        const std::string folder = folder_.Path();
        const std::string file = folder_.Write(
            "proxy.json", R"({"Listen":{"Addresses":["127.0.0.1"],"Port":)" + std::to_string(port_) +
                              R"(},"Mux":{"Port":)" + std::to_string(system_.Port()) +
                              R"(},"Certificates":{"Certificate":")" + folder + R"(/server.crt","Key":")" + folder +
                              R"(/server.key","Authority":")" + folder + R"(/authority.crt"},"Audit":{"File":")" +
                              folder + R"(/audit.db"},"Rules":)" + kRules + "}");
        return {PROXY_PROGRAM, "--config", file};
    }

    Testing::TemporaryFolder folder_;
    std::uint16_t port_ = static_cast<std::uint16_t>(Testing::LoopbackSocket::Listening().Port());
    std::optional<Testing::Process> proxy_;
};

TEST_F(ThroughProxyTest, AnswersAndEventsComeWhileRequestsAreSent) {
    Client client(Entrance("reception"));
    int events = 0;
    std::vector<bool> acks;
    client.OnEvent([&](const Message&) { ++events; });
    const auto take = [&](const std::optional<Message>& answer) { acks.push_back(answer && answer->IsAck()); };
    for (int count = 0; count < 3; ++count) {
        client.Send(Request::Open({1, 5}), take);
        client.Send(Request::Open({2, 6}), take);
    }
    SystemTest::RunCommands(system_.Gateway(), "card 5 04A1B2C3");
    while (acks.size() < 6 || events < 1) {
        ASSERT_TRUE(client.Wait(SystemTest::kDeadline));
    }
    EXPECT_THAT(acks, Each(true));
}

// Longer than one record of TLS, both ways.
TEST_F(ThroughProxyTest, LongTextsPass) {
    Client client(Entrance("reception"));
    const std::string id(60000, 'x');
    const auto answer = client.Ask(
        Request::FromText(R"({"MessageID":")" + id + R"(","MessageCode":12,"Data":{"gatewayID":1,"lockID":5}})"));
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->IsAck());
    EXPECT_EQ(answer->id, id);
}

TEST_F(ThroughProxyTest, ARefusalOfTheProxyIsKnownByItsError) {
    Client client(Entrance("guest"));
    const auto answer = client.Ask(Request::Open({1, 5}));
    ASSERT_TRUE(answer && answer->refusal);
    EXPECT_TRUE(answer->refusal->Is(ProxyError::kNotAllowed));
}

TEST_F(ThroughProxyTest, ServersAndClientsRefuseCertificates) {
    MuxAddress address = Entrance("reception");
    address.tls->serverName = "127.0.0.1";
    EXPECT_THAT([&] { const Client client(address); },
                ThrowsMessage<CertificateError>(EndsWith("\"CN = localhost\" is refused: it is not for 127.0.0.1")));
    address.tls->serverName = "localhost";
    address.tls->certificate = "";
    EXPECT_THAT(
        [&] {
            Client(address).Ask(Request::Status({1, 5}));
        },
        ThrowsMessage<CertificateError>(HasSubstr("the server requires a client certificate")));
}

}  // namespace
}  // namespace MuxClient
