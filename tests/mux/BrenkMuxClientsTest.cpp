// A running Mux with real clients: who gets which answer, and in which order.

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
#include "tests/support/WaitUntil.h"

using Testing::CapturedLog;
using Testing::ConfigurationText;
using Testing::LockData;
using Testing::LogHook;
using Testing::LoopbackSocket;
using Testing::MuxClient;
using Testing::Request;
using Testing::RequestNack;
using Testing::ReservedPort;
using Testing::TestMux;
using Testing::WaitUntil;
using Testing::WireGateway;

namespace Mux {
namespace {

const char* const kOpened = R"({"Timestamp":T,"MessageID":"m1","MessageCode":0,"Data":{"Success":true,"ErrorCode":0}})";

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

    // The descriptor number that the Mux was given for its latest client.
    std::string LatestDescriptor() const {
        static const std::string kBefore = "Client with FD ";
        std::string descriptor;
        for (const CapturedLog::Line& line : log.Lines()) {
            const std::size_t position = line.second.find(kBefore);
            if (position != std::string::npos) {
                const std::size_t begin = position + kBefore.size();
                descriptor = line.second.substr(begin, line.second.find(' ', begin) - begin);
            }
        }
        return descriptor;
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
    std::unique_ptr<MuxClient> NewcomerWith(const std::string& descriptor) {
        for (int attempt = 0; attempt < 50; ++attempt) {
            auto client = std::make_unique<MuxClient>(ConnectedClient());
            if (LatestDescriptor() == descriptor) {
                return client;
            }
            Disconnect(*client);
            lowNumber.reset();
        }
        return nullptr;
    }

    // Starts the Mux with gateway 1 connected.
    void StartWithGateway() {
        mux.ParseConfiguration(ConfigurationText({gateway.Port()}));
        mux.Start();
        gateway.Accept();
    }

    std::unique_ptr<std::FILE, int (*)(std::FILE*)> lowNumber{std::fopen("/dev/null", "r"), std::fclose};
    const ReservedPort port;
    WireGateway gateway;
    const CapturedLog log;
    TestMux mux{port.Number()};
};

TEST_F(BrenkMuxClients, BeforeAnyConfigurationAClientGetsTheNack) {
    mux.Start();
    MuxClient client = ConnectedClient();
    client.Send(Request(10, "m1", LockData()));
    EXPECT_EQ(client.Receive(), RequestNack("m1"));
}

TEST_F(BrenkMuxClients, ARequestTravelsToItsGatewayAndTheAnswerBackToItsClient) {
    StartWithGateway();
    MuxClient client = ConnectedClient();
    MuxClient other = ConnectedClient();
    // The sequence refresh: until it is answered, a request may carry the same reference ID.
    gateway.Answer(gateway.ReceiveFrame(), 0);
    ASSERT_TRUE(log.WaitFor(plog::verbose, "Ended management."));
    client.Send(Request(10, "m1", LockData()));
    gateway.Answer(gateway.ReceiveRequest(), 0);
    EXPECT_EQ(client.Receive(), kOpened);
    EXPECT_TRUE(other.IsSilent());
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxClients, EachClientGetsItsOwnAnswers) {
    mux.Start();
    MuxClient first = ConnectedClient();
    MuxClient second = ConnectedClient();
    for (int count = 0; count < 10; ++count) {
        first.Send(Request(10, "first " + std::to_string(count), LockData()));
        second.Send(Request(10, "second " + std::to_string(count), LockData()));
    }
    for (int count = 0; count < 10; ++count) {
        EXPECT_EQ(first.Receive(), RequestNack("first " + std::to_string(count)));
        EXPECT_EQ(second.Receive(), RequestNack("second " + std::to_string(count)));
    }
}

TEST_F(BrenkMuxClients, ACardReaderEventReachesTwoClientsWithTheSameMessageID) {
    StartWithGateway();
    MuxClient first = ConnectedClient();
    MuxClient second = ConnectedClient();
    gateway.SendCardEvent(14, 5, {0x04, 0xA1, 0xB2, 0xC3});
    const std::string event = first.Receive();
    EXPECT_EQ(second.Receive(), event);
    EXPECT_NE(event.find("\"MessageID\":\"lockEventMessage-"), std::string::npos) << event;
    EXPECT_NE(event.find("\"MessageCode\":51,\"Data\":{\"gatewayID\":1,\"lockID\":5,"), std::string::npos) << event;
    EXPECT_NE(event.find("\"RFIDData\":\"04A1B2C3\"}"), std::string::npos) << event;
    ASSERT_TRUE(WaitUntil([this] { return log.Count(plog::debug, "Event sent. Deallocating messages memory.") == 2; }));
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxClients, AnEventGoesToTheClientsInTheOrderInWhichTheyCame) {
    StartWithGateway();
    std::vector<MuxClient> clients;
    std::vector<std::string> expected;
    for (int count = 0; count < 4; ++count) {
        clients.push_back(ConnectedClient());
        expected.push_back("Sending event to socket with FD " + LatestDescriptor());
    }
    gateway.SendCardEvent(22, 5, {0x31});
    for (MuxClient& client : clients) {
        client.Receive();
    }
    EXPECT_EQ(InOrder(log, {expected.rbegin(), expected.rend()}), expected);
}

TEST_F(BrenkMuxClients, AnEventThatClientsAreNotToldOfIsDroppedAtItsDeliveryToEachOfThem) {
    StartWithGateway();
    MuxClient first = ConnectedClient();
    const MuxClient second = ConnectedClient();
    const std::string text = "Message part in the event record structure is missing.";
    gateway.SendCardEvent(17, 5, {0x04});
    ASSERT_TRUE(WaitUntil([&] { return log.Count(plog::error, text) == 2; }));
    gateway.SendCardEvent(18, 5, {0x04});
    ASSERT_TRUE(WaitUntil([&] { return log.Count(plog::error, text) == 4; }));
    EXPECT_EQ(mux.AnswerCount(), 0U);
    first.Send(Request(99, "m1"));
    EXPECT_EQ(first.Receive(), RequestNack("m1"));
    EXPECT_FALSE(log.Holds(plog::debug, "Sending event to socket"));
}

TEST_F(BrenkMuxClients, AnEventReachesNobodyWhileNoClientIsConnected) {
    StartWithGateway();
    gateway.SendCardEvent(14, 5, {0x04});
    ASSERT_TRUE(log.WaitFor(plog::verbose, "Ended management."));
    ASSERT_TRUE(log.Holds(plog::info, "READER EVENT. A card was passed on the reader of a smartlock."));
    MuxClient client = ConnectedClient();
    client.Send(Request(99, "m1"));
    EXPECT_EQ(client.Receive(), RequestNack("m1"));
    EXPECT_FALSE(log.Holds(plog::debug, "Sending event to socket"));
}

TEST_F(BrenkMuxClients, LogsADeliveredAnswer) {
    mux.Start();
    MuxClient client = ConnectedClient();
    client.Send(Request(99, "m1"));
    client.Receive();
    EXPECT_TRUE(log.WaitFor(plog::verbose, "Message sent. Deallocating messages memory."));
    EXPECT_EQ(log.Count(plog::info, "Sending message answer with ID m1 to socket with FD " + LatestDescriptor()), 1);
}

TEST_F(BrenkMuxClients, WithNoClientConnectedQueuedAnswersForAVanishedClientAreDroppedAfter15Attempts) {
    mux.Start();
    MuxClient client = ConnectedClient();
    const std::string descriptor = LatestDescriptor();
    Disconnect(client);
    mux.Route(Request(99, "m1"), std::stoi(descriptor));
    ASSERT_TRUE(log.WaitFor(plog::error, "Cannot send message to socket with FD " + descriptor +
                                             ". Tried 15, I will delete the answer from queue."));
    EXPECT_TRUE(WaitUntil([this] { return mux.AnswerCount() == 0; }));
    EXPECT_EQ(log.Count(plog::info, "Sending message answer with ID m1 to socket with FD " + descriptor), 15);
}

// The kernel hands a closed descriptor number out again: what was meant for the client that has gone must not reach
// the one that has its number now.
TEST_F(BrenkMuxClients, AnAnswerForAClientThatHasGoneNeverReachesTheNewcomerWithItsDescriptor) {
    StartWithGateway();
    MuxClient gone = ConnectedClient();
    const std::string descriptor = LatestDescriptor();
    gone.Send(Request(10, "m1", LockData()));
    ASSERT_TRUE(WaitUntil([this] { return mux.PendingCount() == 1; }));
    Disconnect(gone);
    const std::unique_ptr<MuxClient> newcomer = NewcomerWith(descriptor);
    ASSERT_NE(newcomer, nullptr) << "The descriptor was not used again.";

    mux.AnswerFromGateway("m1", 0);
    ASSERT_TRUE(log.WaitFor(plog::error, "Cannot send message to socket with FD " + descriptor +
                                             ". Tried 15, I will delete the answer from queue."));
    EXPECT_TRUE(newcomer->IsSilent());
    newcomer->Send(Request(99, "m2"));
    EXPECT_EQ(newcomer->Receive(), RequestNack("m2"));
}

TEST_F(BrenkMuxClients, AnEventForAClientThatHasGoneNeverReachesTheNewcomerWithItsDescriptor) {
    mux.Start();
    MuxClient gone = ConnectedClient();
    const std::string descriptor = LatestDescriptor();
    Disconnect(gone);
    const std::unique_ptr<MuxClient> newcomer = NewcomerWith(descriptor);
    ASSERT_NE(newcomer, nullptr) << "The descriptor was not used again.";

    // The first client that a server socket accepts has serial number 1.
    const Brenk::Net::ClientIdentity identity{std::stoi(descriptor), 1};
    mux.PushAnswer(std::make_unique<MuxRequestRecord>(
        identity,
        MuxMessageBuilder().BuildMessage(MUX_MESSAGE_EVENT_CARD_READER, "e1",
                                         MuxMessageBuilder().BuildCardEvent(1, 5, "time", "0A")),
        true));
    ASSERT_TRUE(log.WaitFor(plog::error, "Cannot send event to socket with FD " + descriptor +
                                             ". Tried 15, I will delete the answer from queue."));
    newcomer->Send(Request(99, "m2"));
    EXPECT_EQ(newcomer->Receive(), RequestNack("m2"));
}

TEST_F(BrenkMuxClients, AClientThatHasGoneHoldsUpTheOthersOnlyForItsAttempts) {
    mux.Start();
    MuxClient gone = ConnectedClient();
    const std::string descriptor = LatestDescriptor();
    Disconnect(gone);
    MuxClient client = ConnectedClient();
    mux.TakeIn(Request(99, "m1"), 999);
    client.Send(Request(99, "m2"));
    EXPECT_EQ(client.Receive(), RequestNack("m2"));
}

// While it lives, the process may open only so many descriptors more.
class DescriptorLimit {
  public:
    explicit DescriptorLimit(rlim_t count) {
        getrlimit(RLIMIT_NOFILE, &before_);
        rlimit limit = before_;
        limit.rlim_cur = static_cast<rlim_t>(LoopbackSocket().Descriptor()) + count;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

  private:
    rlimit before_ = {};
};

class CrowdedBrenkMux : public BrenkMuxClients {
  protected:
    // Connects clients until one is turned away, lets them all go again and returns how many were not.
    int PlacesForClients() {
        const auto accepted = [this] { return AcceptedClients(); };
        const auto turnedAway = [this] { return CountLines("Too many clients. The connection with FD "); };
        const int acceptedBefore = accepted();
        const int turnedAwayBefore = turnedAway();
        const int deletedBefore = DeletedClients();
        std::vector<MuxClient> clients;
        while (turnedAway() == turnedAwayBefore) {
            clients.emplace_back(port.Number());
            const int expected = acceptedBefore + turnedAwayBefore + static_cast<int>(clients.size());
            EXPECT_TRUE(WaitUntil([&] { return accepted() + turnedAway() == expected; }));
        }
        const int places = accepted() - acceptedBefore;
        clients.clear();
        EXPECT_TRUE(WaitUntil([&] { return DeletedClients() == deletedBefore + places; }));
        return places;
    }

    const DescriptorLimit limit{120};
};

// The gateways thread is held behind its first attempt: gateways that are not connected yet must find room to be.
TEST_F(CrowdedBrenkMux, HasFewerPlacesForClientsOnceAConfigurationHasBroughtItGateways) {
    constexpr int kGateways = 20;
    const ReservedPort refusing;
    mux.Start();
    const int places = PlacesForClients();
    std::promise<void> release;
    const LogHook connecting("Try to connect to gateway with ID 1 ",
                             [released = release.get_future().share()] { released.wait(); });
    mux.ParseConfiguration(ConfigurationText(std::vector<int>(kGateways, refusing.Number())));
    ASSERT_TRUE(WaitUntil([&] { return connecting.Runs() == 1; }));
    // Both ends of a client's connection are descriptors of this process.
    EXPECT_LE(PlacesForClients(), places - kGateways / 2 + 1);
    release.set_value();
}

}  // namespace
}  // namespace Mux
