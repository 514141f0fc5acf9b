// The floor must do what the daemon does for a request that it refuses, or the comparison would say nothing.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/LoopbackSocket.h"
#include "tests/support/Process.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/TestClient.h"

namespace Load {
namespace {

using Testing::LoopbackSocket;
using Testing::Process;
using Testing::TestClient;

constexpr const char* kRequest = R"({"Timestamp":1,"MessageID":"id-1","MessageCode":10,"Data":{}})";
constexpr const char* kRefusal =
    R"({"Timestamp":1700000000,"MessageID":"id-1","MessageCode":1,"Data":{"ErrorCode":0,"Message":"Error in request"}})";

class FloorTest : public testing::Test {
  protected:
    std::string Port() const { return std::to_string(port_.Number()); }

    Testing::ReservedPort port_;
};

TEST_F(FloorTest, RefusesAPacketWithItsMessageID) {
    const Process floor({FLOOR_PATH, Port()});
    TestClient client(port_.Number());
    client.Send(kRequest);
    EXPECT_EQ(client.Receive(), kRefusal);
}

TEST_F(FloorTest, CutsPacketsHoweverTheyAreTornAndGlued) {
    const Process floor({FLOOR_PATH, Port()});
    TestClient client(port_.Number());
    const LoopbackSocket::Bytes bytes = Testing::Packet(kRequest);
    const std::string packet(bytes.begin(), bytes.end());
    client.SendRaw(packet + packet.substr(0, 9));
    EXPECT_EQ(client.Receive(), kRefusal);
    client.SendRaw(packet.substr(9));
    EXPECT_EQ(client.Receive(), kRefusal);
}

TEST_F(FloorTest, ConnectsToItsGatewayFirst) {
    LoopbackSocket gateway = LoopbackSocket::Listening();
    const Process floor({FLOOR_PATH, Port(), std::to_string(gateway.Port())});
    const LoopbackSocket connection = gateway.Accept();
    TestClient client(port_.Number());
    client.Send(kRequest);
    EXPECT_EQ(client.Receive(), kRefusal);
}

// A port that is none must not become 0, for which the kernel picks one that nobody knows of.
TEST_F(FloorTest, EndsWithItsUsageWhenAPortIsNone) {
    const std::string port = Port();
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
