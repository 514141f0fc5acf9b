// The floor must do what the daemon does for a request that it refuses, or the comparison would say nothing.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "benchmarks/load/Connection.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/support/Process.h"
#include "tests/support/ReservedPort.h"

namespace Load {
namespace {

using Testing::LoopbackSocket;
using Testing::Process;

constexpr const char* kPacket = R"(MUXM{"Timestamp":1,"MessageID":"id-1","MessageCode":10,"Data":{}})";
constexpr const char* kRefusal =
    R"({"Timestamp":1700000000,"MessageID":"id-1","MessageCode":1,"Data":{"ErrorCode":0,"Message":"Error in request"}})";

LoopbackSocket::Bytes PacketBytes() {
    const std::string text = kPacket;
    LoopbackSocket::Bytes bytes = {static_cast<unsigned char>(text.size() + 2), 0};
    bytes.insert(bytes.end(), text.begin(), text.end());
    return bytes;
}

std::string ReceiveText(LoopbackSocket& socket, std::size_t count) {
    const LoopbackSocket::Bytes bytes = socket.Receive(count);
    return {bytes.begin(), bytes.end()};
}

class FloorTest : public testing::Test {
  protected:
    LoopbackSocket ConnectClient() {
        asio::io_context loop;
        Connect(loop, {"127.0.0.1", static_cast<std::uint16_t>(port_.Number())});
        return LoopbackSocket::ConnectedTo(port_.Number());
    }

    Testing::ReservedPort port_;
};

TEST_F(FloorTest, RefusesAPacketWithItsMessageID) {
    const Process floor({FLOOR_PATH, std::to_string(port_.Number())});
    LoopbackSocket client = ConnectClient();
    client.Send(PacketBytes());
    EXPECT_EQ(ReceiveText(client, std::string(kRefusal).size()), kRefusal);
}

TEST_F(FloorTest, CutsPacketsHoweverTheyAreTornAndGlued) {
    const Process floor({FLOOR_PATH, std::to_string(port_.Number())});
    LoopbackSocket client = ConnectClient();
    const LoopbackSocket::Bytes packet = PacketBytes();
    LoopbackSocket::Bytes glued = packet;
    glued.insert(glued.end(), packet.begin(), packet.begin() + 9);
    client.Send(glued);
    EXPECT_EQ(ReceiveText(client, std::string(kRefusal).size()), kRefusal);
    client.Send({packet.begin() + 9, packet.end()});
    EXPECT_EQ(ReceiveText(client, std::string(kRefusal).size()), kRefusal);
}

TEST_F(FloorTest, ConnectsToItsGatewayFirst) {
    LoopbackSocket gateway = LoopbackSocket::Listening();
    const Process floor({FLOOR_PATH, std::to_string(port_.Number()), std::to_string(gateway.Port())});
    const LoopbackSocket connection = gateway.Accept();
    LoopbackSocket client = ConnectClient();
    client.Send(PacketBytes());
    EXPECT_EQ(ReceiveText(client, std::string(kRefusal).size()), kRefusal);
}

// A port that is none must not become 0, for which the kernel picks one that nobody knows of.
TEST_F(FloorTest, EndsWithItsUsageWhenAPortIsNone) {
    const std::string port = std::to_string(port_.Number());
    const std::vector<std::vector<std::string>> wrong = {{},          {"--help"}, {""},         {"0"},
                                                         {"65536"},   {"-1"},     {port + "x"}, {port, "x"},
                                                         {port, "0"}, {port, ""}, {" 80"},      {port, port, port}};
    for (std::vector<std::string> command : wrong) {
        SCOPED_TRACE(testing::PrintToString(command));
        command.insert(command.begin(), FLOOR_PATH);
        EXPECT_EQ(Process(command).WaitForExit(), EXIT_FAILURE);
    }
}

}  // namespace
}  // namespace Load
