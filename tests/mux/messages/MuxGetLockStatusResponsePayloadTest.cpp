#include "mux/messages/MuxGetLockStatusResponsePayload.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/mux/messages/ParsedJson.h"
#include "tests/mux/messages/PayloadText.h"

using Testing::ParsedJson;
using Testing::TextWithoutDocument;

namespace Mux {
namespace {

TEST(MuxGetLockStatusResponsePayload, AlwaysWritesAllSevenMembersInTheirOrder) {
    EXPECT_EQ(MuxGetLockStatusResponsePayload(0, 0, false, false, false, false, false).ToJSON(),
              R"({"BatteryStatus":0,"QoS":0,"MechanicalActive":false,"BatteryWarningLevel":false,)"
              R"("BatteryAlarmLevel":false,"ScandinavianFireMode":false,"ReaderConnected":false})");
    EXPECT_EQ(MuxGetLockStatusResponsePayload(3, 2, true, true, true, true, true).ToJSON(),
              R"({"BatteryStatus":3,"QoS":2,"MechanicalActive":true,"BatteryWarningLevel":true,)"
              R"("BatteryAlarmLevel":true,"ScandinavianFireMode":true,"ReaderConnected":true})");
}

TEST(MuxGetLockStatusResponsePayload, WritesEachFlagUnderItsOwnName) {
    using Flags = std::vector<bool>;
    const char* const names[] = {"MechanicalActive", "BatteryWarningLevel", "BatteryAlarmLevel", "ScandinavianFireMode",
                                 "ReaderConnected"};
    for (std::size_t set = 0; set < 5; ++set) {
        Flags flags(5, false);
        flags.at(set) = true;
        MuxGetLockStatusResponsePayload payload(0, 0, flags.at(0), flags.at(1), flags.at(2), flags.at(3), flags.at(4));
        const auto written = ParsedJson(payload.ToJSON());
        for (std::size_t name = 0; name < 5; ++name) {
            EXPECT_EQ(written[names[name]].GetBool(), name == set) << names[name];
        }
    }
}

TEST(MuxGetLockStatusResponsePayload, HoldsItsFields) {
    const MuxGetLockStatusResponsePayload payload(3, 2, true, false, true, false, true);
    EXPECT_EQ(payload.BatteryStatus(), 3);
    EXPECT_EQ(payload.QoS(), 2);
    EXPECT_TRUE(payload.MechanicalActive());
    EXPECT_FALSE(payload.BatteryWarningLevel());
    EXPECT_TRUE(payload.BatteryAlarmLevel());
    EXPECT_FALSE(payload.ScandinavianFireMode());
    EXPECT_TRUE(payload.ReaderConnected());
}

TEST(MuxGetLockStatusResponsePayload, WritesAnObjectWithoutMembersWhenItIsGivenNoDocument) {
    MuxGetLockStatusResponsePayload payload(1, 2, true, true, true, true, true);
    EXPECT_EQ(TextWithoutDocument(payload), "{}");
}

}  // namespace
}  // namespace Mux
