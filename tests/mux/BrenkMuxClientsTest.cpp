// A running Mux with real clients: addressing, order and capacity.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdio>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "mux/BrenkMux.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"
#include "tests/mux/LogHook.h"
#include "tests/mux/MuxClient.h"
#include "tests/mux/TestMux.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/WaitUntil.h"

using Testing::CapturedLog;
using Testing::ConfigurationText;
using Testing::LatestDescriptor;
using Testing::LogHook;
using Testing::LoopbackSocket;
using Testing::MuxClient;
using Testing::Request;
using Testing::RequestNack;
using Testing::ReservedPort;
using Testing::WaitUntil;

namespace Mux {
namespace {

class BrenkMuxClients : public testing::Test {
  protected:
    // How many clients the Mux has taken into its list so far, and how many have gone from it.
    int AcceptedClients() const { return CountLines("Client with FD "); }
    int DeletedClients() const { return CountLines("Client deleted from list. FD "); }

    int CountLines(const std::string& text) const {
        int count = 0;
        for (const CapturedLog::Line& line : log.Lines()) {
            count += line.second.find(text) != std::string::npos ? 1 : 0;
        }
        return count;
    }

    MuxClient ConnectedClient() {
        const int before = AcceptedClients();
        MuxClient client(port.Number());
        EXPECT_TRUE(WaitUntil([&] { return AcceptedClients() == before + 1; }));
        return client;
    }

    // Closes the client and waits until the Mux has forgotten it.
    void Disconnect(MuxClient& client) {
        const int before = DeletedClients();
        client.Close();
        EXPECT_TRUE(WaitUntil([&] { return DeletedClients() == before + 1; }));
    }

    // Connects until the newcomer has the descriptor number that the Mux gave to one that has gone. Client and Mux have
    // their numbers from the same process, and the client's end is the first to get one: a lower number is let go for
    // it when it has taken the Mux's.
    std::unique_ptr<MuxClient> NewcomerWith(int descriptor) {
        for (int attempt = 0; attempt < 50; ++attempt) {
            auto client = std::make_unique<MuxClient>(ConnectedClient());
            if (LatestDescriptor(log) == descriptor) {
                return client;
            }
            Disconnect(*client);
            lowNumber.reset();
        }
        return nullptr;
    }

    // Waits until the Mux gives the message up; what the newcomer gets next must be its own answer.
    void ExpectGivenUp(const std::string& message, int descriptor, MuxClient& newcomer) const {
        ASSERT_TRUE(log.WaitFor(plog::error, "Cannot send " + message + " to socket with FD " +
                                                 std::to_string(descriptor) +
                                                 ". Tried 15, I will delete the answer from queue."));
        newcomer.Send(Request(99, "m2"));
        EXPECT_EQ(newcomer.Receive(), RequestNack("m2"));
    }

    // Starts the Mux with gateway 1 connected.
    void StartWithGateway() {
        mux.ParseConfiguration(ConfigurationText({gateway.Port()}));
        mux.Start();
        gateway.Accept();
    }

    std::unique_ptr<std::FILE, int (*)(std::FILE*)> lowNumber{std::fopen("/dev/null", "r"), std::fclose};
    const ReservedPort port;
    Testing::WireGateway gateway;
    const CapturedLog log;
    Testing::TestMux mux{port.Number()};
};

TEST_F(BrenkMuxClients, AnEventGoesToTheClientsInTheOrderInWhichTheyCame) {
    StartWithGateway();
    std::vector<MuxClient> clients;
    std::vector<std::string> expected;
    for (int count = 0; count < 4; ++count) {
        clients.push_back(ConnectedClient());
        expected.push_back("Sending event to socket with FD " + std::to_string(LatestDescriptor(log)));
    }
    gateway.SendCardEvent(22, 5, {0x31});
    const std::string event = clients.front().Receive();
    for (std::size_t other = 1; other < clients.size(); ++other) {
        EXPECT_EQ(clients.at(other).Receive(), event);
    }
    Testing::ExpectInOrder(log, expected);
    EXPECT_TRUE(WaitUntil([this] { return mux.AnswerCount() == 0; }));
}

// The kernel hands a closed descriptor number out again: what was meant for the client that has gone must not reach
// the one that has its number now.
TEST_F(BrenkMuxClients, AnAnswerForAClientThatHasGoneNeverReachesTheNewcomerWithItsDescriptor) {
    StartWithGateway();
    MuxClient gone = ConnectedClient();
    const int descriptor = LatestDescriptor(log);
    gone.Send(Request(10, "m1", Testing::LockData()));
    ASSERT_TRUE(WaitUntil([this] { return mux.PendingCount() == 1; }));
    Disconnect(gone);
    const std::unique_ptr<MuxClient> newcomer = NewcomerWith(descriptor);
    ASSERT_NE(newcomer, nullptr) << "The descriptor was not used again.";
    mux.AnswerFromGateway("m1", 0);
    ExpectGivenUp("message", descriptor, *newcomer);
}

TEST_F(BrenkMuxClients, AnEventForAClientThatHasGoneNeverReachesTheNewcomerWithItsDescriptor) {
    mux.Start();
    MuxClient gone = ConnectedClient();
    const int descriptor = LatestDescriptor(log);
    Disconnect(gone);
    const std::unique_ptr<MuxClient> newcomer = NewcomerWith(descriptor);
    ASSERT_NE(newcomer, nullptr) << "The descriptor was not used again.";
    // The first client that a server socket accepts has serial number 1, as the record has.
    mux.PushAnswer(
        Testing::RecordFor(descriptor,
                           MuxMessageBuilder().BuildMessage(MUX_MESSAGE_EVENT_CARD_READER, "e1",
                                                            MuxMessageBuilder().BuildCardEvent(1, 5, "time", "0A")),
                           true));
    ExpectGivenUp("event", descriptor, *newcomer);
}

class CrowdedBrenkMux : public BrenkMuxClients {
  protected:
    // Connects clients until one is turned away, lets them all go again and returns how many were not.
    int PlacesForClients() {
        const auto turnedAway = [this] { return CountLines("Too many clients. The connection with FD "); };
        const int acceptedBefore = AcceptedClients();
        const int turnedAwayBefore = turnedAway();
        const int deletedBefore = DeletedClients();
        std::vector<MuxClient> clients;
        while (turnedAway() == turnedAwayBefore) {
            clients.emplace_back(port.Number());
            const int expected = acceptedBefore + turnedAwayBefore + static_cast<int>(clients.size());
            EXPECT_TRUE(WaitUntil([&] { return AcceptedClients() + turnedAway() == expected; }));
        }
        const int places = AcceptedClients() - acceptedBefore;
        clients.clear();
        EXPECT_TRUE(WaitUntil([&] { return DeletedClients() == deletedBefore + places; }));
        return places;
    }

    // The process may open only so many descriptors more.
    void Allow(rlim_t count) { ASSERT_TRUE(limit.Set(static_cast<rlim_t>(LoopbackSocket().Descriptor()) + count)); }

    Testing::ResourceLimit limit{RLIMIT_NOFILE};
    const ReservedPort nobody;
    const std::string fewLeft = "There is room for ";
};

// The gateways thread is held behind its first attempt: gateways that are not connected yet must find room to be.
TEST_F(CrowdedBrenkMux, HasFewerPlacesForClientsOnceAConfigurationHasBroughtItGateways) {
    constexpr int kGateways = 20;
    ASSERT_NO_FATAL_FAILURE(Allow(120));
    mux.Start();
    const int places = PlacesForClients();
    EXPECT_FALSE(log.Holds(plog::warning, fewLeft)) << log.Text();
    std::promise<void> release;
    const LogHook connecting("Try to connect to gateway with ID 1 ",
                             [released = release.get_future().share()] { released.wait(); });
    mux.ParseConfiguration(ConfigurationText(std::vector<int>(kGateways, nobody.Number())));
    ASSERT_TRUE(WaitUntil([&] { return connecting.Runs() == 1; }));
    // Both ends of a client's connection are descriptors of this process.
    EXPECT_LE(PlacesForClients(), places - kGateways / 2 + 1);
    release.set_value();
}

// No gateway is ever connected, so all keep their descriptor.
TEST_F(CrowdedBrenkMux, SaysWhenItsGatewaysLeaveFewDescriptorsForClients) {
    ASSERT_NO_FATAL_FAILURE(Allow(60));
    mux.ParseConfiguration(ConfigurationText(std::vector<int>(60, nobody.Number())));
    mux.Start();
    EXPECT_TRUE(
        log.WaitFor(plog::warning, fewLeft + "0 clients only. The process is allowed too few file descriptors."));
    LoopbackSocket client = LoopbackSocket::ConnectedTo(port.Number());
    EXPECT_TRUE(client.WaitForEnd());
}

}  // namespace
}  // namespace Mux
