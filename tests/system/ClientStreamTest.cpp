// How a client's bytes become packets: glued, in pieces, foreign, too short.

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/LoopbackSocket.h"
#include "tests/system/support/Exchange.h"
#include "tests/system/support/MuxSystem.h"

namespace SystemTest {
namespace {

using std::chrono::milliseconds;

std::string Ask(const std::string& id) {
    return R"({"MessageID":")" + id + R"(","MessageCode":3})";
}

std::string AskInPacket(const std::string& id) {
    return Packet(Ask(id));
}

// A packet of just this length, the text filled up with blanks.
std::string PacketOfLength(const std::string& id, std::size_t length) {
    constexpr std::size_t kHeaderSize = 6;
    std::string text = Ask(id);
    text.resize(length - kHeaderSize, ' ');
    return Packet(text);
}

// A packet with another magic.
std::string Foreign(const std::string& id, const std::string& magic) {
    return AskInPacket(id).replace(2, magic.size(), magic);
}

// A packet without text whose length is below that of a header.
std::string Short(char length) {
    return std::string({length, '\0', 'M', 'U', 'X', 'M'}).substr(0, static_cast<std::size_t>(length));
}

struct StreamRow {
    const char* name;
    // Sent one after the other, with a pause between.
    std::vector<std::string> writes;
    milliseconds pause;
    // The message IDs of the refusals that come back, in order.
    std::vector<std::string> answered;
};

const std::vector<StreamRow> kStreams = {
    {"one packet", {AskInPacket("a")}, {}, {"a"}},
    {"two packets glued together", {AskInPacket("a") + AskInPacket("b")}, {}, {"a", "b"}},
    {"a packet and the start of the next",
     {AskInPacket("a") + "\x2A", std::string("\0MUXM", 5) + Ask("b") + "   "},
     milliseconds(100),
     {"a", "b"}},
    {"a packet in pieces over more than a second",
     {AskInPacket("a").substr(0, 9), AskInPacket("a").substr(9, 5), AskInPacket("a").substr(14)},
     milliseconds(1200),
     {"a"}},
    {"a packet that ends in the middle of another write",
     {AskInPacket("a") + AskInPacket("b").substr(0, 20), AskInPacket("b").substr(20) + AskInPacket("c")},
     milliseconds(50),
     {"a", "b", "c"}},
    {"a foreign packet between two", {AskInPacket("a") + Foreign("x", "MUXN") + AskInPacket("b")}, {}, {"a", "b"}},
    {"foreign packets of all kinds", {Foreign("x", "muxm") + Foreign("y", "MXUM") + AskInPacket("a")}, {}, {"a"}},
    {"packets of 2 to 5 bytes", {Short(2) + Short(3) + Short(4) + Short(5) + AskInPacket("a")}, {}, {"a"}},
    {"a packet without text", {Packet("") + AskInPacket("a")}, {}, {"a"}},
    {"a length of 1 is one byte, and the next packet begins with its high byte",
     {std::string("\x01", 1) + PacketOfLength("a", 256)},
     {},
     {"a"}},
    {"a text ends at a character 0", {Packet(Ask("a") + std::string("\0{}", 3))}, {}, {"a"}},
    {"the largest packet", {PacketOfLength("a", 65535) + AskInPacket("b")}, {}, {"a", "b"}},
};

void SendAll(const TestClient& client, const StreamRow& row) {
    for (const std::string& write : row.writes) {
        client.SendRaw(write);
        // How bytes arrive one after the other is what is tested.
        std::this_thread::sleep_for(row.pause);
    }
}

void ExpectRefusals(TestClient& client, const std::vector<std::string>& ids, std::time_t from) {
    for (const std::string& id : ids) {
        ExpectMessage(client.Receive(), id, Refusal(), from);
    }
}

TEST(ClientStream, IsCutIntoPackets) {
    MuxSystem system(WithGateways({}));
    for (const StreamRow& row : kStreams) {
        SCOPED_TRACE(row.name);
        TestClient client = system.NewClient();
        const std::time_t from = std::time(nullptr);
        SendAll(client, row);
        ExpectRefusals(client, row.answered, from);
        ExpectServed(client);
    }
}

TEST(ClientStream, OfManyClientsIsKeptApart) {
    constexpr std::size_t kClients = 30;
    MuxSystem system(WithGateways({}));
    const std::time_t from = std::time(nullptr);
    std::vector<TestClient> clients;
    for (std::size_t index = 0; index < kClients; ++index) {
        clients.push_back(system.NewClient());
    }
    for (std::size_t index = 0; index < kClients; ++index) {
        clients.at(index).SendRaw(AskInPacket("client-" + std::to_string(index)).substr(0, 10));
    }
    for (std::size_t index = kClients; index-- > 0;) {
        clients.at(index).SendRaw(AskInPacket("client-" + std::to_string(index)).substr(10));
    }
    for (std::size_t index = 0; index < kClients; ++index) {
        ExpectRefusals(clients.at(index), {"client-" + std::to_string(index)}, from);
    }
}

TEST(ClientStream, ThatBeginsWithALengthOf0NeverYieldsAPacket) {
    MuxSystem system(WithGateways({}));
    TestClient stuck = system.NewClient();
    TestClient other = system.NewClient();
    stuck.SendRaw(std::string("\0\0", 2) + AskInPacket("never"));
    ASSERT_TRUE(system.Mux().WaitFor(" but expected size was: 0"));
    ExpectServed(other);
    EXPECT_EQ(system.Mux().Count("never"), 0U);

    // What is left over does not keep the client from being closed.
    stuck.Close();
    EXPECT_TRUE(system.Mux().WaitFor("Client deleted from list. FD "));
}

TEST(ClientStream, ThatEndsInAPacketIsDroppedWithItsClient) {
    MuxSystem system(WithGateways({}));
    TestClient client = system.NewClient();
    client.SendRaw(AskInPacket("never").substr(0, 12));
    ASSERT_TRUE(system.Mux().WaitFor("Received on socket "));
    client.Close();
    ASSERT_TRUE(system.Mux().WaitFor("Client deleted from list. FD "));

    // The descriptor's number is used again, the bytes are not.
    TestClient next = system.NewClient();
    ExpectServed(next);
}

TEST(ClientStream, ThatIsTooMuchForAPacketIsClosed) {
    constexpr std::size_t kTooMuch = 128 * 1024 + 1;
    MuxSystem system(WithGateways({}));
    TestClient client = system.NewClient();
    client.SendRaw(std::string(kTooMuch, '\0'));
    EXPECT_TRUE(system.Mux().WaitFor(" can never become a packet. It will be closed."));
    EXPECT_EQ(client.Receive(), "(closed)");
    TestClient next = system.NewClient();
    ExpectServed(next);
}

TEST(ClientStream, ThatIsResetIsAnErrorAndTheOthersGoOn) {
    MuxSystem system(WithGateways({}));
    ASSERT_TRUE(system.Mux().WaitFor("Accept loop thread spawned."));
    Testing::LoopbackSocket client = Testing::LoopbackSocket::ConnectedTo(system.Port());
    ASSERT_TRUE(system.Mux().WaitFor("Accepted connection with FD "));
    client.Reset();
    EXPECT_TRUE(system.Mux().WaitFor("Error on select for socket "));
    EXPECT_TRUE(system.Mux().WaitFor("Client deleted from list. FD "));
    TestClient next = system.NewClient();
    ExpectServed(next);
}

}  // namespace
}  // namespace SystemTest
