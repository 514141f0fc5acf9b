#include "tools/gateway-simulator/Console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/WaitUntil.h"
#include "tests/tools/PlainSocket.h"
#include "tests/tools/RecordingObserver.h"

namespace Simulator {
namespace {

using Testing::PlainSocket;

SimulatorOptions Options(Observer& observer) {
    SimulatorOptions options;
    options.locks = {5, 6};
    options.whitelistCapacity = 3;
    options.observer = &observer;
    return options;
}

class ConsoleTest : public testing::Test {
  protected:
    std::string Execute(const std::string& line) { return Simulator::Execute(gateway_, line); }

    Lock Door() const { return *gateway_.FindLock(5); }

    // The output of a command, which must be a good one.
    std::string Output(const std::string& line) {
        EXPECT_EQ(Execute(line), "");
        return observer_.Lines().empty() ? "" : observer_.Lines().back();
    }

    Testing::RecordingObserver observer_;
    GatewaySimulator gateway_{Options(observer_)};
};

class ConnectedConsoleTest : public ConsoleTest {
  protected:
    ConnectedConsoleTest() : client_(Start(gateway_)) {
        EXPECT_TRUE(Testing::WaitUntil([&] { return gateway_.IsConnected(); }));
    }

    static std::uint16_t Start(GatewaySimulator& gateway) {
        gateway.Start();
        return gateway.Port();
    }

    PlainSocket client_;
};

TEST_F(ConnectedConsoleTest, CardPresentsACard) {
    EXPECT_EQ(Execute("card 5 04A1B2C3"), "");
    EXPECT_EQ(client_.Receive(31),
              "1F FE FD 1A 01 00 00 00 00 00 00 01 00 00 00 05 0E 00 00 00 00 00 00 00 04 04 A1 B2 C3 AB 10");
    EXPECT_EQ(observer_.Lines().back(), "<- card event 14 lock 5 data 04A1B2C3");
}

TEST_F(ConnectedConsoleTest, CloseAndResetEndTheConnection) {
    EXPECT_EQ(Execute("close"), "");
    EXPECT_EQ(client_.WaitForEnding(), PlainSocket::Ending::kClosed);
    PlainSocket next(gateway_.Port());
    ASSERT_TRUE(Testing::WaitUntil([&] { return gateway_.IsConnected(); }));
    EXPECT_EQ(Execute("reset"), "");
    EXPECT_EQ(next.WaitForEnding(), PlainSocket::Ending::kReset);
}

TEST_F(ConnectedConsoleTest, RefuseRefusesConnections) {
    EXPECT_EQ(Execute("refuse 3600000"), "");
    EXPECT_FALSE(Testing::IsListenedOn(gateway_.Port()));
    EXPECT_EQ(Execute("refuse 0"), "");
    EXPECT_TRUE(Testing::WaitUntil([&] { return Testing::IsListenedOn(gateway_.Port()); }));
}

TEST_F(ConsoleTest, EventsNeedAConnectionAndALock) {
    EXPECT_EQ(Execute("card 5 04"), "not connected");
    EXPECT_EQ(Execute("pin 5 1"), "not connected");
    EXPECT_EQ(Execute("raw 00"), "not connected");
    EXPECT_EQ(Execute("card 9 04"), "unknown lock 9");
    EXPECT_EQ(Execute("pin 9 1"), "unknown lock 9");
}

TEST_F(ConsoleTest, EmptyLinesAndCommentsDoNothing) {
    EXPECT_EQ(Execute(""), "");
    EXPECT_EQ(Execute("   \t"), "");
    EXPECT_EQ(Execute("# card 5"), "");
    EXPECT_EQ(Execute("counter 7 # and no more"), "");
    EXPECT_EQ(gateway_.Counter(), 7U);
}

TEST_F(ConsoleTest, SaysWhatIsWrongWithALine) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"open 5", "unknown command \"open\"; try help"},
        {"CARD 5 04", "unknown command \"CARD\"; did you mean \"card\"?"},
        {"card", "card ADDRESS HEX [TYPE]: ADDRESS is missing"},
        {"card 5", "card ADDRESS HEX [TYPE]: HEX is missing"},
        {"card five 04", "card ADDRESS HEX [TYPE]: ADDRESS must be a number from 0 to 4294967295, not \"five\""},
        {"card -5 04", "card ADDRESS HEX [TYPE]: ADDRESS must be a number from 0 to 4294967295, not \"-5\""},
        {"card 4294967296 04",
         "card ADDRESS HEX [TYPE]: ADDRESS must be a number from 0 to 4294967295, not \"4294967296\""},
        {"card 0x 04", "card ADDRESS HEX [TYPE]: ADDRESS must be a number from 0 to 4294967295, not \"0x\""},
        {"card 5 04A", "card ADDRESS HEX [TYPE]: HEX must be pairs of hexadecimal digits, not \"04A\""},
        {"card 5 0G", "card ADDRESS HEX [TYPE]: HEX must be pairs of hexadecimal digits, not \"0G\""},
        {"card 5 -1", "card ADDRESS HEX [TYPE]: HEX must be pairs of hexadecimal digits, not \"-1\""},
        {"card 5 04 16", "card ADDRESS HEX [TYPE]: TYPE must be 14, 15, 17 or 18"},
        {"card 5 04 14 1", "card ADDRESS HEX [TYPE]: unexpected argument \"1\""},
        {"card 5 " + std::string(458, '0'), "card ADDRESS HEX [TYPE]: HEX must not have more than 228 bytes"},
        {"pin 5 12a4", "pin ADDRESS DIGITS: DIGITS must be at most 228 digits, not \"12a4\""},
        {"status 5 0E", "status ADDRESS HEX: HEX must have 7 bytes"},
        {"battery 5 4 0", "battery ADDRESS STATUS LEVEL: STATUS must be a number from 0 to 3, not \"4\""},
        {"flag 5 smoke on", "flag ADDRESS FLAG on|off: FLAG must be mechanical, warning, alarm or bit6, not \"smoke\""},
        {"flag 5 alarm yes", "flag ADDRESS FLAG on|off: on|off must be on or off, not \"yes\""},
        {"close 5", "close: unexpected argument \"5\""},
        {"setup-number 5 256", "setup-number ADDRESS NUMBER|any: NUMBER must be a number from 0 to 255, not \"256\""},
        {"wait 5", "unknown command \"wait\"; try help"},
    };
    for (const auto& [line, error] : cases) {
        EXPECT_EQ(Execute(line), error) << line;
    }
}

TEST_F(ConsoleTest, SaysWhatIsWrongWithAFault) {
    const std::string usage = "fault NAME [VALUE] [COUNT|always] [lock ADDRESS]: ";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"fault", "NAME is missing"},
        {"fault smoke", "unknown fault \"smoke\"; try help"},
        {"fault slience", "unknown fault \"slience\"; did you mean \"silence\"?"},
        {"fault delay", "MILLISECONDS is missing"},
        {"fault delay soon", "MILLISECONDS must be a number from 0 to 3600000, not \"soon\""},
        {"fault wrong-length 256", "BYTE must be a number from 0 to 255, not \"256\""},
        {"fault junk 0", "HEX must be pairs of hexadecimal digits, not \"0\""},
        {"fault silence never", "COUNT must be a number from 0 to 4294967294, not \"never\""},
        {"fault silence 2 lock", "ADDRESS is missing"},
        {"fault silence lock 5 2", "unexpected argument \"2\""},
        {"fault off 2", "unexpected argument \"2\""},
    };
    for (const auto& [line, error] : cases) {
        EXPECT_EQ(Execute(line), usage + error) << line;
    }
    EXPECT_TRUE(gateway_.Faults().empty());
}

TEST_F(ConsoleTest, TakesEveryFault) {
    const std::vector<std::pair<std::string, FaultKind>> cases = {
        {"delay 500", FaultKind::kDelay},
        {"silence", FaultKind::kSilence},
        {"close", FaultKind::kClose},
        {"reset", FaultKind::kReset},
        {"close-mid-frame", FaultKind::kCloseMidFrame},
        {"byte-by-byte 2", FaultKind::kByteByByte},
        {"glue", FaultKind::kGlue},
        {"junk DEAD", FaultKind::kJunk},
        {"wrong-crc", FaultKind::kWrongCrc},
        {"wrong-length 3", FaultKind::kWrongLength},
        {"unknown-reference", FaultKind::kUnknownReference},
        {"twice", FaultKind::kTwice},
        {"force-result 12", FaultKind::kForceResult},
        {"answer-code 0x33", FaultKind::kAnswerCode},
    };
    for (const auto& [words, kind] : cases) {
        EXPECT_EQ(Execute("fault " + words), "") << words;
        EXPECT_EQ(gateway_.Faults().back().kind, kind) << words;
        EXPECT_EQ(gateway_.Faults().back().remaining, 1U) << words;
    }
    EXPECT_EQ(gateway_.Faults().size(), cases.size());
}

TEST_F(ConsoleTest, FaultTakesValueCountAndLock) {
    EXPECT_EQ(Execute("fault delay 500 3 lock 6"), "");
    EXPECT_EQ(Execute("fault junk DEAD always"), "");
    EXPECT_EQ(Execute("fault wrong-length 255 lock 5"), "");
    const std::vector<Fault> faults = gateway_.Faults();
    ASSERT_EQ(faults.size(), 3U);
    EXPECT_EQ(faults.at(0).Duration(), std::chrono::milliseconds(500));
    EXPECT_EQ(faults.at(0).remaining, 3U);
    EXPECT_EQ(faults.at(0).address, 6U);
    EXPECT_EQ(faults.at(1).bytes, Bytes({0xDE, 0xAD}));
    EXPECT_EQ(faults.at(1).remaining, Fault::kAlways);
    EXPECT_FALSE(faults.at(1).address.has_value());
    EXPECT_EQ(faults.at(2).Byte(), 255);
    EXPECT_EQ(faults.at(2).address, 5U);
}

TEST_F(ConsoleTest, SetsALocksStatus) {
    EXPECT_EQ(Execute("status 5 0E001C00000077"), "");
    EXPECT_EQ(Door().Status(), (Lock::StatusBytes{0x0E, 0, 0x1C, 0, 0, 0, 0x77}));
    EXPECT_EQ(Output("battery 5 1 2"), "lock 5 now reports: battery resistance too high, battery level 90 % or more");
    EXPECT_EQ(Door().Status().at(0), 0x09);
    EXPECT_EQ(Output("battery 5 0 0"), "lock 5 now reports: battery not available, battery level below 80 %");
    EXPECT_EQ(Execute("flag 5 mechanical off"), "");
    EXPECT_EQ(Execute("flag 5 bit6 on"), "");
    EXPECT_EQ(Door().Status().at(2), 0x58);
    EXPECT_EQ(Execute("flag 5 warning off"), "");
    EXPECT_EQ(Execute("flag 5 alarm off"), "");
    EXPECT_EQ(Door().Status().at(2), 0x40);
}

TEST_F(ConsoleTest, SetsWhatALockDemands) {
    const Whitelist::Entry card = {1, 0, {0x04}};
    EXPECT_EQ(Execute("setup-number 5 2"), "");
    EXPECT_EQ(Door().Cards().Add(card), Result::kSetupNumberMismatch);
    EXPECT_EQ(Execute("setup-number 5 any"), "");
    EXPECT_EQ(Execute("card-length 5 10"), "");
    EXPECT_EQ(Door().Cards().Add(card), Result::kDataLengthMismatch);
    EXPECT_EQ(Execute("card-length 5 any"), "");
    EXPECT_EQ(Execute("capacity 5 0"), "");
    EXPECT_EQ(Door().Cards().Add(card), Result::kWhitelistFull);
    EXPECT_EQ(Execute("demand-event 5 on"), "");
    EXPECT_TRUE(Door().DemandsEvent());
}

TEST_F(ConsoleTest, ListsLocks) {
    Execute("counter 41");
    gateway_.ChangeLock(6, [](Lock& lock) {
        lock.Open();
        lock.EventRaised(kCardEvent);
        lock.Cards().Add({0, 0, {0x04}});
        lock.Cards().SetEnabled(false);
    });
    EXPECT_EQ(Output("locks"),
              "counter 41\n"
              "lock 5: closed, status 0F000000000000, whitelist enabled, 0 of 3 cards\n"
              "lock 6: open, status 0F000000000000, whitelist disabled, 1 of 3 cards, event pending");
}

}  // namespace
}  // namespace Simulator
