#include "messages/BrenkLockState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "diagnostics/Log.h"
#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CapturedLog;
using testing::ElementsAre;
using testing::EndsWith;
using Testing::FromHex;
using testing::Pair;

// Decodes the status that `statusBytes` (hexadecimal) stands for.
BrenkLockState StateOf(const std::string& statusBytes) {
    Bytes frame = FromHex("1A FE FD 15 01 00 00 05 00 00 01 00 00 00 01 02 01 " + statusBytes + " 00 00");
    BrenkGetStatusPayload payload(frame);
    return BrenkLockState::ParseFromBuffer(&payload);
}

void ExpectFlags(const BrenkLockState& state, bool mechanicalActive, bool warning, bool alarm, bool reader) {
    EXPECT_EQ(state.MechanicalActive(), mechanicalActive);
    EXPECT_EQ(state.BatteryWarning(), warning);
    EXPECT_EQ(state.BatteryAlarm(), alarm);
    EXPECT_EQ(state.ReaderConnected(), reader);
}

void ExpectZeroState(const BrenkLockState& state) {
    EXPECT_EQ(state.BatteryStatus(), 0U);
    EXPECT_EQ(state.BatteryLevel(), 0U);
    EXPECT_EQ(state.Reserved(), 0U);
    ExpectFlags(state, false, false, false, false);
}

TEST(BrenkLockState, StatusBytes0E001CAreMediumAtLeast95PercentActiveWithWarningAndAlarm) {
    const BrenkLockState state = StateOf("0E 00 1C 00 00 00 00");
    EXPECT_EQ(state.BatteryStatus(), kBatteryMedium);
    EXPECT_EQ(state.BatteryStatus(), 2U);
    EXPECT_EQ(state.BatteryLevel(), kBatteryAtLeast95Percent);
    EXPECT_EQ(state.BatteryLevel(), 3U);
    EXPECT_EQ(state.Reserved(), 0U);
    ExpectFlags(state, true, true, true, false);
}

TEST(BrenkLockState, EachFlagHasItsOwnBitOfStatusByte2) {
    ExpectFlags(StateOf("00 00 04 00 00 00 00"), true, false, false, false);
    ExpectFlags(StateOf("00 00 08 00 00 00 00"), false, true, false, false);
    ExpectFlags(StateOf("00 00 10 00 00 00 00"), false, false, true, false);
}

TEST(BrenkLockState, StatusByte2Of40SetsOnlyTheReaderFlag) {
    ExpectFlags(StateOf("00 00 40 00 00 00 00"), false, false, false, true);
}

TEST(BrenkLockState, AllOtherBitsAndBytesAreIgnored) {
    ExpectZeroState(StateOf("F0 FF A3 FF FF FF FF"));
}

TEST(BrenkLockState, ARequestsPayloadWithoutStatusDecodesToZeros) {
    BrenkGetStatusPayload request;
    ExpectZeroState(BrenkLockState::ParseFromBuffer(&request));
}

TEST(BrenkLockState, ANullPayloadGivesAZeroStateAndAWarning) {
    const CapturedLog log;
    ExpectZeroState(BrenkLockState::ParseFromBuffer(nullptr));
    EXPECT_EQ(log.Count(plog::warning, "Brenk Lock State payload is nullptr. Cannot parse lock status data."), 1);
    EXPECT_EQ(log.Lines().size(), 1U) << log.Text();
}

struct BatteryRow {
    std::string statusBytes;
    std::uint32_t value;
    std::string text;
};

TEST(BrenkLockState, EveryBatteryStatusHasItsValueAndText) {
    const std::vector<BatteryRow> rows = {
        {"00 00 00 00 00 00 00", 0, "No battery status available."},
        {"01 00 00 00 00 00 00", 1, "Internal resistance too high."},
        {"02 00 00 00 00 00 00", 2, "Battery status medium."},
        {"03 00 00 00 00 00 00", 3, "Battery status OK (full)."},
    };
    for (const BatteryRow& row : rows) {
        const CapturedLog log;
        const BrenkLockState state = StateOf(row.statusBytes);
        EXPECT_EQ(state.BatteryStatus(), row.value);
        EXPECT_EQ(state.BatteryLevel(), 0U);
        EXPECT_EQ(log.Count(plog::debug, row.text), 1) << row.text << "\n" << log.Text();
    }
}

TEST(BrenkLockState, EveryBatteryLevelHasItsValueAndText) {
    const std::vector<BatteryRow> rows = {
        {"00 00 00 00 00 00 00", 0, "< 80%"},
        {"04 00 00 00 00 00 00", 1, "minimum 80%"},
        {"08 00 00 00 00 00 00", 2, "minimum 90%"},
        {"0C 00 00 00 00 00 00", 3, "minimum 95%"},
    };
    for (const BatteryRow& row : rows) {
        const CapturedLog log;
        const BrenkLockState state = StateOf(row.statusBytes);
        EXPECT_EQ(state.BatteryLevel(), row.value);
        EXPECT_EQ(state.BatteryStatus(), 0U);
        EXPECT_EQ(log.Count(plog::debug, row.text), 1) << row.text << "\n" << log.Text();
    }
}

auto DebugLine(const std::string& text) {
    return Pair(plog::debug, EndsWith(") " + text));
}

TEST(BrenkLockState, SetFlagsAreLoggedAtDebugInTheOrderOfTheirDecoding) {
    const CapturedLog log;
    StateOf("0E 00 5C 00 00 00 00");
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(DebugLine("Brenk Lock State payload is valid."), DebugLine("Battery status medium."),
                    DebugLine("minimum 95%"), DebugLine("Lock mechanical active."),
                    DebugLine("Current lock is in battery warning."), DebugLine("Current lock is in battery alarm.")));
}

TEST(BrenkLockState, ClearFlagsAreLoggedAtDebugInTheOrderOfTheirDecoding) {
    const CapturedLog log;
    StateOf("00 00 00 00 00 00 00");
    EXPECT_THAT(log.Lines(),
                ElementsAre(DebugLine("Brenk Lock State payload is valid."), DebugLine("No battery status available."),
                            DebugLine("< 80%"), DebugLine("Lock mechanical non active."),
                            DebugLine("Current lock is not in battery warning."),
                            DebugLine("Current lock is not in battery alarm.")));
}

TEST(BrenkLockState, TheSameValuesResultWhenNothingIsLogged) {
    const CapturedLog log;
    plog::get()->setMaxSeverity(plog::none);
    const BrenkLockState state = StateOf("0E 00 5C 00 00 00 00");
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
    EXPECT_EQ(state.BatteryStatus(), 2U);
    EXPECT_EQ(state.BatteryLevel(), 3U);
    ExpectFlags(state, true, true, true, true);
}

}  // namespace
}  // namespace Brenk::Messages
