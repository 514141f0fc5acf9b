#include "messages/BrenkLockState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostics/Log.h"
#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/LoggedLine.h"

namespace Brenk::Messages {
namespace {

using Testing::CapturedLog;
using testing::ElementsAre;
using Testing::Logged;

// Decodes the status of a frame with these seven status bytes (hexadecimal).
BrenkLockState StateOf(const std::string& statusBytes) {
    Testing::Bytes frame =
        Testing::FromHex("1A FE FD 15 01 00 00 05 00 00 01 00 00 00 01 02 01 " + statusBytes + " 00 00");
    BrenkGetStatusPayload payload(frame);
    return BrenkLockState::ParseFromBuffer(&payload);
}

struct Decoded {
    std::uint32_t battery = 0;
    std::uint32_t level = 0;
    bool isActive = false;
    bool isWarning = false;
    bool isAlarm = false;
    bool isReaderConnected = false;
};

void ExpectState(const BrenkLockState& state, const Decoded& expected) {
    EXPECT_EQ(state.BatteryStatus(), expected.battery);
    EXPECT_EQ(state.BatteryLevel(), expected.level);
    EXPECT_EQ(state.Reserved(), 0U);
    EXPECT_EQ(state.MechanicalActive(), expected.isActive);
    EXPECT_EQ(state.BatteryWarning(), expected.isWarning);
    EXPECT_EQ(state.BatteryAlarm(), expected.isAlarm);
    EXPECT_EQ(state.ReaderConnected(), expected.isReaderConnected);
}

TEST(BrenkLockState, EachValueHasItsOwnBits) {
    ExpectState(StateOf("01 00 00 00 00 00 00"), {1, 0, false, false, false, false});
    ExpectState(StateOf("0E 00 00 00 00 00 00"), {2, 3, false, false, false, false});
    ExpectState(StateOf("0B 00 04 00 00 00 00"), {3, 2, true, false, false, false});
    ExpectState(StateOf("04 00 08 00 00 00 00"), {0, 1, false, true, false, false});
    ExpectState(StateOf("00 00 10 00 00 00 00"), {0, 0, false, false, true, false});
    ExpectState(StateOf("00 00 40 00 00 00 00"), {0, 0, false, false, false, true});
}

TEST(BrenkLockState, AllOtherBitsAndBytesAreIgnored) {
    ExpectState(StateOf("F0 FF A3 FF FF FF FF"), {});
}

TEST(BrenkLockState, ARequestsPayloadWithoutStatusDecodesToZeros) {
    BrenkGetStatusPayload request;
    ExpectState(BrenkLockState::ParseFromBuffer(&request), {});
}

TEST(BrenkLockState, ANullPayloadGivesZerosAndAWarning) {
    const CapturedLog log;
    ExpectState(BrenkLockState::ParseFromBuffer(nullptr), {});
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(Logged(plog::warning, "Brenk Lock State payload is nullptr. Cannot parse lock status data.")));
}

TEST(BrenkLockState, IsLoggedInTheOrderOfItsDecoding) {
    const auto debug = [](const char* text) { return Logged(plog::debug, text); };
    const CapturedLog log;
    StateOf("0E 00 5C 00 00 00 00");
    StateOf("00 00 00 00 00 00 00");
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(debug("Brenk Lock State payload is valid."), debug("Battery status medium."), debug("minimum 95%"),
                    debug("Lock mechanical active."), debug("Current lock is in battery warning."),
                    debug("Current lock is in battery alarm."), debug("Brenk Lock State payload is valid."),
                    debug("No battery status available."), debug("< 80%"), debug("Lock mechanical non active."),
                    debug("Current lock is not in battery warning."), debug("Current lock is not in battery alarm.")));
}

TEST(BrenkLockState, EveryBatteryValueHasItsText) {
    const CapturedLog log;
    StateOf("05 00 00 00 00 00 00");
    StateOf("0B 00 00 00 00 00 00");
    for (const char* const text :
         {"Internal resistance too high.", "minimum 80%", "Battery status OK (full).", "minimum 90%"}) {
        EXPECT_EQ(log.Count(plog::debug, text), 1) << text;
    }
}

TEST(BrenkLockState, IsTheSameWhenNothingIsLogged) {
    const CapturedLog log;
    plog::get()->setMaxSeverity(plog::none);
    ExpectState(StateOf("0E 00 5C 00 00 00 00"), {2, 3, true, true, true, true});
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

}  // namespace
}  // namespace Brenk::Messages
