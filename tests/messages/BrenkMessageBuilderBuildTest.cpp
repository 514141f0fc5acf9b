#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <typeinfo>

#include "messages/AnswerPayloads.h"
#include "messages/BrenkMessageBuilder.h"
#include "messages/RequestPayloads.h"
#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"

// Frames written by hand from the frame and payload layouts; their CRC by python3, binascii.crc_hqx(data, 0).

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CapturedLog;
using Testing::FromHex;
using Testing::Serialized;

constexpr std::uint32_t kAddress = 0x00000102;

struct GoldenFrame {
    std::string name;
    std::function<std::unique_ptr<BrenkMessage>(BrenkMessageBuilder&)> build;
    std::string frame;
    std::uint8_t dataType;
};

void PrintTo(const GoldenFrame& golden, std::ostream* out) {
    *out << golden.name;
}

// The frames that a builder with sequence counter 41 and reference ID 5 gives.
std::vector<GoldenFrame> GoldenFrames() {
    const auto addCard = [](bool uidMode, std::uint8_t setupNumber, std::uint8_t option, Bytes card) {
        return [=](BrenkMessageBuilder& builder) mutable {
            return builder.BuildAddToWhitelist(kAddress, uidMode, setupNumber, option, card);
        };
    };
    const auto removeCard = [](bool uidMode, std::uint8_t setupNumber, std::uint8_t option, Bytes card) {
        return [=](BrenkMessageBuilder& builder) mutable {
            return builder.BuildRemoveFromWhitelist(kAddress, uidMode, setupNumber, option, card);
        };
    };
    return {
        {"GetStatus", [](auto& builder) { return builder.BuildGetStatus(kAddress); },
         "13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 01 35 B6", 2},
        {"ShortTermActivation", [](auto& builder) { return builder.BuildShortTermActivation(kAddress, 7, false); },
         "14 FE FD 0F 01 00 00 05 00 00 00 2A 00 00 01 02 09 07 77 91", 0x0A},
        {"ShortTermActivationWithFlag",
         [](auto& builder) { return builder.BuildShortTermActivation(kAddress, 7, true); },
         "14 FE FD 0F 01 00 00 05 00 00 00 2A 00 00 01 02 89 07 6C 09", 0x0A},
        {"LongTermActivation", [](auto& builder) { return builder.BuildLongTermActivation(kAddress, 0, 5, false); },
         "17 FE FD 12 01 00 00 05 00 00 00 2A 00 00 01 02 0A 00 00 00 05 F4 25", 0x0B},
        {"LongTermActivationWithFlag",
         [](auto& builder) { return builder.BuildLongTermActivation(kAddress, 0, 5, true); },
         "17 FE FD 12 01 00 00 05 00 00 00 2A 00 00 01 02 8A 00 00 00 05 D6 F5", 0x0B},
        {"LongTermActivationWithWideValues",
         [](auto& builder) { return builder.BuildLongTermActivation(kAddress, 0x1234, 0x5678, false); },
         "17 FE FD 12 01 00 00 05 00 00 00 2A 00 00 01 02 0A 12 34 56 78 10 AC", 0x0B},
        {"LongTermRelease", [](auto& builder) { return builder.BuildLongTermRelease(kAddress, 300, false); },
         "15 FE FD 10 01 00 00 05 00 00 00 2A 00 00 01 02 0B 01 2C 3A 57", 0x0C},
        {"LongTermReleaseWithFlag", [](auto& builder) { return builder.BuildLongTermRelease(kAddress, 300, true); },
         "15 FE FD 10 01 00 00 05 00 00 00 2A 00 00 01 02 8B 01 2C 01 0D", 0x0C},
        {"AccessDenied", [](auto& builder) { return builder.BuildAccessDenied(kAddress, false); },
         "13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 08 A4 9F", 8},
        {"AccessDeniedWithFlag", [](auto& builder) { return builder.BuildAccessDenied(kAddress, true); },
         "13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 88 35 17", 8},
        {"AddToWhitelistByUid", addCard(true, 0, 1, FromHex("04 A1 B2 C3")),
         "20 FE FD 1B 01 00 00 05 00 00 00 2A 00 00 01 02 03 00 01 0A 00 00 00 00 00 00 C3 B2 A1 04 1D 74", 0},
        {"AddToWhitelistWithSetupNumber", addCard(false, 1, 0, FromHex("11 22 33")),
         "19 FE FD 14 01 00 00 05 00 00 00 2A 00 00 01 02 03 01 00 03 11 22 33 4C EF", 0},
        {"RemoveFromWhitelistByUid", removeCard(true, 0, 0, FromHex("04 A1 B2 C3")),
         "20 FE FD 1B 01 00 00 05 00 00 00 2A 00 00 01 02 04 00 00 0A 00 00 00 00 00 00 C3 B2 A1 04 6E 07", 0},
        {"RemoveFromWhitelistNeverSendsAnOption", removeCard(false, 1, 1, FromHex("11 22 33")),
         "19 FE FD 14 01 00 00 05 00 00 00 2A 00 00 01 02 04 01 00 03 11 22 33 55 AB", 0},
        {"ClearWhitelist", [](auto& builder) { return builder.BuildClearWhitelist(kAddress); },
         "13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 05 75 32", 0},
        {"DisableWhitelist", [](auto& builder) { return builder.BuildDisableWhitelist(kAddress); },
         "13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 06 45 51", 6},
        {"EnableWhitelist", [](auto& builder) { return builder.BuildEnableWhitelist(kAddress); },
         "13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 07 55 70", 7},
    };
}

class BuildOperation : public testing::TestWithParam<GoldenFrame> {};

TEST_P(BuildOperation, GivesTheGoldenFrame) {
    BrenkMessageBuilder builder(41, 5);
    const std::unique_ptr<BrenkMessage> message = GetParam().build(builder);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(Serialized(*message), FromHex(GetParam().frame));
    ASSERT_NE(message->Payload(), nullptr);
    EXPECT_EQ(message->Payload()->DataType(), GetParam().dataType);
}

// A builder whose frames cannot be made, and which tells whether a payload was asked for.
class RefusingBuilder : public BrenkMessageBuilder {
  public:
    RefusingBuilder() : BrenkMessageBuilder(41, 5) {}

    BrenkMessage* BuildBaseMessage(std::uint32_t, std::uint8_t, BrenkMessagePayload* payload) override {
        refusedPayload = payload != nullptr;
        return nullptr;
    }

    bool refusedPayload = false;
};

// That the payload is not leaked is LeakSanitizer's to say.
TEST_P(BuildOperation, GivesNullWhenTheBaseMessageIsNull) {
    RefusingBuilder builder;
    EXPECT_EQ(GetParam().build(builder), nullptr);
    EXPECT_TRUE(builder.refusedPayload);
}

TEST_P(BuildOperation, MovesNeitherCounter) {
    BrenkMessageBuilder builder(41, 5);
    GetParam().build(builder);
    EXPECT_EQ(builder.SequenceCounter(), 41U);
    EXPECT_EQ(builder.ReferenceID(), 5);
}

INSTANTIATE_TEST_SUITE_P(Every, BuildOperation, testing::ValuesIn(GoldenFrames()),
                         [](const auto& row) { return row.param.name; });

TEST(BrenkMessageBuilder, EachPayloadHasTheClassOfItsCommand) {
    BrenkMessageBuilder builder(41, 5);
    Bytes card = {1};
    const auto is = [](const std::unique_ptr<BrenkMessage>& message, const std::type_info& type) {
        const BrenkMessagePayload& payload = *message->Payload();
        return typeid(payload) == type;
    };
    EXPECT_TRUE(is(builder.BuildGetStatus(1), typeid(BrenkGetStatusPayload)));
    EXPECT_TRUE(is(builder.BuildShortTermActivation(1, 1, false), typeid(BrenkShortTermActivationPayload)));
    EXPECT_TRUE(is(builder.BuildLongTermActivation(1, 1, 1, false), typeid(BrenkLongTermActivationPayload)));
    EXPECT_TRUE(is(builder.BuildLongTermRelease(1, 1, false), typeid(BrenkLongTermReleasePayload)));
    EXPECT_TRUE(is(builder.BuildAccessDenied(1, false), typeid(BrenkDeviceOnlyPayload)));
    EXPECT_TRUE(is(builder.BuildAddToWhitelist(1, false, 0, 0, card), typeid(BrenkAddOrRemoveFromWhitelistPayload)));
    EXPECT_TRUE(
        is(builder.BuildRemoveFromWhitelist(1, false, 0, 0, card), typeid(BrenkAddOrRemoveFromWhitelistPayload)));
    EXPECT_TRUE(is(builder.BuildClearWhitelist(1), typeid(BrenkMessagePayload)));
    EXPECT_TRUE(is(builder.BuildDisableWhitelist(1), typeid(BrenkDeviceOnlyPayload)));
    EXPECT_TRUE(is(builder.BuildEnableWhitelist(1), typeid(BrenkDeviceOnlyPayload)));
}

TEST(BrenkMessageBuilder, ClearWhitelistForDevice102WithCounter41AndReference5Is19Bytes) {
    BrenkMessageBuilder builder(41, 5);
    const std::unique_ptr<BrenkMessage> message = builder.BuildClearWhitelist(0x00000102);
    EXPECT_EQ(Serialized(*message), FromHex("13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 05 75 32"));
}

TEST(BrenkMessageBuilder, SequenceCounterAndDeviceAddressAreBigEndian) {
    BrenkMessageBuilder builder(0x12345677, 1);
    const std::unique_ptr<BrenkMessage> message = builder.BuildGetStatus(0x89ABCDEF);
    EXPECT_EQ(Serialized(*message), FromHex("13 FE FD 0E 01 00 00 01 12 34 56 78 89 AB CD EF 01 BF 70"));
}

TEST(BrenkMessageBuilder, TheStampedSequenceCounterWrapsToZeroAndReferenceID63IsValid) {
    const CapturedLog log;
    BrenkMessageBuilder builder(0xFFFFFFFF, 63);
    const std::unique_ptr<BrenkMessage> message = builder.BuildGetStatus(0xFFFFFFFF);
    EXPECT_EQ(Serialized(*message), FromHex("13 FE FD 0E 01 00 00 3F 00 00 00 00 FF FF FF FF 01 33 24"));
    EXPECT_EQ(log.Count(plog::error, "ReferenceID out of scope."), 0) << log.Text();
}

TEST(BrenkMessageBuilder, AReferenceIDOf64OrMoreIsAnErrorAndTheMessageIsStillReturned) {
    for (const std::uint8_t corrupted : {std::uint8_t{64}, std::uint8_t{255}}) {
        const CapturedLog log;
        BrenkMessageBuilder builder(41, corrupted);
        const std::unique_ptr<BrenkMessage> message = builder.BuildGetStatus(kAddress);
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(log.Count(plog::error, "ReferenceID out of scope."), 1) << log.Text();
        EXPECT_EQ(Serialized(*message), FromHex("13 FE FD 0E 01 00 00 00 00 00 00 2A 00 00 01 02 01 F7 C6"));
    }
}

TEST(BrenkMessageBuilder, TheLengthBytesWrapBeyond255) {
    BrenkMessageBuilder builder(41, 5);
    Bytes card(247, 0);
    const std::unique_ptr<BrenkMessage> message = builder.BuildAddToWhitelist(kAddress, false, 1, 0, card);
    // 250 payload bytes: 250 + 19 = 269 and 250 + 14 = 264.
    EXPECT_EQ(message->TotalLength(), 269 - 256);
    EXPECT_EQ(message->Header().remainingLength, 264 - 256);
    EXPECT_EQ(Serialized(*message).size(), 269U);
}

TEST(BrenkMessageBuilder, ABaseMessageCanBeBuiltWithoutPayload) {
    BrenkMessageBuilder builder(41, 5);
    const std::unique_ptr<BrenkMessage> message(builder.BuildBaseMessage(kAddress, 0x05, nullptr));
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->Payload(), nullptr);
    EXPECT_EQ(Serialized(*message), FromHex("13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 05 75 32"));
}

}  // namespace
}  // namespace Brenk::Messages
