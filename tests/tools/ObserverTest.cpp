// What a gateway tells its observer, in the words of the report lines.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/WaitUntil.h"
#include "tests/tools/PlainSocket.h"
#include "tests/tools/RecordingObserver.h"
#include "tools/gateway-simulator/GatewaySimulator.h"

namespace Simulator {
namespace {

using testing::ElementsAre;
using Testing::PlainSocket;

class ObserverTest : public testing::Test {
  protected:
    ObserverTest() {
        SimulatorOptions options;
        options.locks = {5};
        options.observer = &observer_;
        gateway_ = std::make_unique<GatewaySimulator>(options);
        gateway_->Start();
        client_ = std::make_unique<PlainSocket>(gateway_->Port());
    }

    // All lines, once this many are there.
    std::vector<std::string> Lines(std::size_t count) {
        Testing::WaitUntil([&] { return observer_.Lines().size() >= count; });
        return observer_.Lines();
    }

    Testing::RecordingObserver observer_;
    std::unique_ptr<GatewaySimulator> gateway_;
    std::unique_ptr<PlainSocket> client_;
};

TEST_F(ObserverTest, HearsOfRequestsAnswersAndFaults) {
    gateway_->Inject(Fault::Delay(std::chrono::milliseconds(1)));
    gateway_->Inject(Fault::WrongCrc());
    client_->Send("13 FE FD 0E 01 00 00 01 00 00 00 01 00 00 01 00 01 08 4B");
    client_->Send("17 FE FD 12 01 00 00 03 00 00 03 E9 00 00 00 05 8A 00 00 00 00 A2 0C");
    client_->Send("13 FE FD 0E 01 00 00 02 00 00 03 E9 00 00 00 05 01 2F B9");
    EXPECT_THAT(Lines(7),
                ElementsAre("connected", "-> GET_STATUS lock 256 seq 1 ref 1",
                            "<- SEQUENCE_COUNTER_ERROR (7) counter 0x000003E8 lock 256 ref 1 [delay 1] [wrong-crc]",
                            "-> OPEN_LOCK (event) lock 5 seq 1001 ref 3 payload 00000000", "<- OK lock 5 ref 3",
                            "-> GET_STATUS lock 5 seq 1001 ref 2",
                            "<- SEQUENCE_COUNTER_ERROR (7) counter 0x000003E9 lock 5 ref 2"));
}

TEST_F(ObserverTest, HearsOfStatusAnswersEventsAndTheEnd) {
    client_->Send("13 FE FD 0E 01 00 00 02 00 00 03 E9 00 00 00 05 01 2F B9");
    Lines(3);
    gateway_->RaisePin(5, "12");
    gateway_->RaiseCard(5, {0x04, 0xA1}, 15);
    client_->Close();
    EXPECT_THAT(Lines(6), ElementsAre("connected", "-> GET_STATUS lock 5 seq 1001 ref 2",
                                      "<- STATUS 0F000000000000 lock 5 ref 2", "<- PIN event 22 lock 5 data 3132",
                                      "<- card event 15 lock 5 data 04A1", testing::StartsWith("ended: ")));
}

TEST_F(ObserverTest, HearsOfFlawsAndUnfinishedFrames) {
    client_->Send("AA BB");
    client_->Send("14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 33 00 89 1B");
    client_->Send("13 FE FD 0E");
    client_->Close();
    const std::vector<std::string> lines = Lines(4);
    EXPECT_EQ(lines.back(), "ended: closed by the peer, 4 bytes of an unfinished frame dropped");
    EXPECT_THAT(lines, testing::Contains("-> 20 bytes, wrong CRC: 14FEFD0F01000003000003E9000000053300891B"));
    EXPECT_THAT(lines, testing::Contains(testing::HasSubstr("no magic bytes")));
}

TEST_F(ObserverTest, HearsOfACommandWithoutAName) {
    client_->Send("14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 33 00 89 1A");
    EXPECT_THAT(Lines(3), ElementsAre("connected", "-> code 51 lock 5 seq 1001 ref 3 payload 00",
                                      "<- NOT_SUPPORTED (6) lock 5 ref 3"));
}

}  // namespace
}  // namespace Simulator
