// Each request of a client as the frame that arrives at the gateway, and the answer as the client gets it.
//
// The frames were written from the frame layout; their CRC by python3, binascii.crc_hqx(data, 0).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/system/support/ExchangeRunner.h"

namespace SystemTest {
namespace {

const Answer kSuccess = Ack(R"({"Success":true,"ErrorCode":0})");
const Answer kFullBattery =
    Ack(R"({"BatteryStatus":3,"QoS":3,"MechanicalActive":false,"BatteryWarningLevel":false,"BatteryAlarmLevel":false,)"
        R"("ScandinavianFireMode":false,"ReaderConnected":false})");

std::vector<std::string> FramesAt(const Simulator::GatewaySimulator& gateway) {
    std::vector<std::string> frames;
    for (const Simulator::ReceivedFrame& received : gateway.ReceivedFrames()) {
        frames.push_back(Simulator::ToHex(received.bytes));
    }
    return frames;
}

void ExpectFrames(const Simulator::GatewaySimulator& gateway, std::vector<std::string> expected) {
    for (std::string& frame : expected) {
        frame = Replace(frame, " ", "");
    }
    EXPECT_EQ(FramesAt(gateway), expected);
}

// What the Mux asks at the start, before it knows the gateway's counter.
const std::string kFirstQuestion = "13 FE FD 0E 01 00 00 01 00 00 00 01 00 00 01 00 01 08 4B";

TEST(RequestFrames, LockOperationsAndStatus) {
    MuxSystem system(WithGateways({{1, {5}, 1000}}));
    ExchangeRunner(system).Run({
        {"open", Request(10), "00000005 0A 00000000", kSuccess},
        {"close", Request(11), "00000005 0B 0000", kSuccess},
        {"status", Request(12), "00000005 01", kFullBattery},
        {"open and close", Request(13, R"("lockID":5,"duration":7)"), "00000005 09 07", Ack()},
        {"access denied", Request(14), "00000005 08", Ack()},
    });
    ExpectFrames(system.Gateway(), {
                                       kFirstQuestion,
                                       kFirstQuestion,
                                       "17 FE FD 12 01 00 00 03 00 00 03 E9 00 00 00 05 0A 00 00 00 00 80 DC",
                                       "15 FE FD 10 01 00 00 04 00 00 03 EA 00 00 00 05 0B 00 00 32 94",
                                       "13 FE FD 0E 01 00 00 05 00 00 03 EB 00 00 00 05 01 B8 03",
                                       "14 FE FD 0F 01 00 00 06 00 00 03 EC 00 00 00 05 09 07 E3 0A",
                                       "13 FE FD 0E 01 00 00 07 00 00 03 ED 00 00 00 05 08 7A 41",
                                   });
}

TEST(RequestFrames, ResponsesToAnEventHaveTheHighBitOfTheirCodeSet) {
    constexpr std::uint32_t kLock = 0x11223344;  // 287454020
    MuxSystem system(WithGateways({{1, {kLock}, 0x01020304}}));
    ExchangeRunner(system).Run({
        {"open", Request(110, R"("lockID":287454020)"), "11223344 8A 00000000", kSuccess},
        {"close", Request(111, R"("lockID":287454020)"), "11223344 8B 0000", kSuccess},
        {"open and close", Request(113, R"("lockID":287454020,"duration":255)"), "11223344 89 FF", Ack()},
        {"access denied", Request(114, R"("lockID":287454020)"), "11223344 88", Ack()},
    });
    ExpectFrames(system.Gateway(), {
                                       kFirstQuestion,
                                       kFirstQuestion,
                                       "17 FE FD 12 01 00 00 03 01 02 03 05 11 22 33 44 8A 00 00 00 00 4B 74",
                                       "15 FE FD 10 01 00 00 04 01 02 03 06 11 22 33 44 8B 00 00 A5 C5",
                                       "14 FE FD 0F 01 00 00 05 01 02 03 07 11 22 33 44 89 FF 9A 2A",
                                       "13 FE FD 0E 01 00 00 06 01 02 03 08 11 22 33 44 88 FE 15",
                                   });
}

TEST(RequestFrames, WhitelistRequestsWhileTheSequenceCounterRunsOverItsEnd) {
    const std::string card = R"("lockID":70000,"setupNumber":0,"options":1,"cardData":"04A1B2C3","isUIDCard":true)";
    MuxSystem system(WithGateways({{1, {70000}, 0xFFFFFFFC}}));
    ExchangeRunner(system).Run({
        {"add", Request(21, card), "00011170 03 00 01 0A 00000000000004A1B2C3", Ack()},
        {"remove", Request(25, card), "00011170 04 00 00 0A 00000000000004A1B2C3", Ack()},
        {"clear", Request(22, R"("lockID":70000)"), "00011170 05", Ack()},
        {"enable", Request(23, R"("lockID":70000)"), "00011170 07", Ack()},
        {"disable", Request(24, R"("lockID":70000)"), "00011170 06", Ack()},
    });
    ExpectFrames(system.Gateway(),
                 {
                     kFirstQuestion,
                     kFirstQuestion,
                     "20 FE FD 1B 01 00 00 03 FF FF FF FD 00 01 11 70 03 00 01 0A 00 00 00 00 00 00 04 A1 B2 C3 4A 70",
                     "20 FE FD 1B 01 00 00 04 FF FF FF FE 00 01 11 70 04 00 00 0A 00 00 00 00 00 00 04 A1 B2 C3 60 13",
                     "13 FE FD 0E 01 00 00 05 FF FF FF FF 00 01 11 70 05 74 68",
                     "13 FE FD 0E 01 00 00 06 00 00 00 00 00 01 11 70 07 0C 59",
                     "13 FE FD 0E 01 00 00 07 00 00 00 01 00 01 11 70 06 36 9D",
                 });
}

TEST(RequestFrames, DurationsAndLockIdsAreCutAndReplacedAsTheProtocolSays) {
    const Answer noRoute = Nack(8, "No route for the requested device. ");
    MuxSystem system(WithGateways({{1, {5}, 1000}, {2, {5}, 1000}}));
    const std::vector<Exchange> durations = {
        Odd({"duration 0 becomes 1", Request(13, R"("lockID":5,"duration":0)"), "00000005 09 01", Ack()}),
        Odd({"duration 0 of a response becomes 1, with a warning", Request(113, R"("lockID":5,"duration":0)"),
             "00000005 89 01", Ack(), "", "LOCK_OPEN_CLOSE duration set to zero. Defaulted to 1"}),
        Odd({"duration 300 keeps its low 8 bits", Request(13, R"("lockID":5,"duration":300)"), "00000005 09 2C",
             Ack()}),
        Odd({"duration 256 becomes 0 and then 1", Request(13, R"("lockID":5,"duration":256)"), "00000005 09 01",
             Ack()}),
        Odd({"duration 4294967295", Request(13, R"("lockID":5,"duration":4294967295)"), "00000005 09 FF", Ack()}),
        Odd({"a duration that is no number is 0 and becomes 1", Request(13, R"("lockID":5,"duration":"9")"),
             "00000005 09 01", Ack()}),
    };
    const std::vector<Exchange> locks = {
        {"lock 0", Request(14, R"("lockID":0)"), "00000000 08", noRoute},
        {"lock -1", Request(14, R"("lockID":-1)"), "FFFFFFFF 08", noRoute},
        {"lock 2147483647", Request(14, R"("lockID":2147483647)"), "7FFFFFFF 08", noRoute},
        {"lock -2147483648", Request(14, R"("lockID":-2147483648)"), "80000000 08", noRoute},
        Odd({"a lock ID that is no number is 0", Request(14, R"("lockID":"5")"), "00000000 08", noRoute}),
        {"lock -1 is written as the client sent it", Request(10, R"("lockID":-1)"), "FFFFFFFF 0A 00000000",
         Nack(0, "No route for device address -1 on gateway @G")},
    };
    ExchangeRunner(system).RunSideBySide({durations, locks});
}

}  // namespace
}  // namespace SystemTest
