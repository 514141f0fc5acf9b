#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <typeinfo>
#include <vector>

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
using Testing::CutTo;
using Testing::FromHex;
using Testing::Serialized;

constexpr std::uint32_t kAddress = 0x00000102;

// One operation of the builder; `content` is the command and the payload bytes of its frame.
struct Operation {
    std::string name;
    std::function<std::unique_ptr<BrenkMessage>(BrenkMessageBuilder&)> build;
    std::string content;
    const std::type_info& payload;
    std::uint8_t dataType;
};

void PrintTo(const Operation& operation, std::ostream* out) {
    *out << operation.name;
}

std::vector<Operation> Operations() {
    const auto card = [](auto operation, bool uidMode, std::uint8_t setupNumber, std::uint8_t option) {
        return [=](BrenkMessageBuilder& builder) {
            Bytes data = FromHex("04 A1 B2");
            return (builder.*operation)(kAddress, uidMode, setupNumber, option, data);
        };
    };
    const auto add = &BrenkMessageBuilder::BuildAddToWhitelist;
    const auto remove = &BrenkMessageBuilder::BuildRemoveFromWhitelist;
    return {
        {"GetStatus", [](auto& builder) { return builder.BuildGetStatus(kAddress); }, "01",
         typeid(BrenkGetStatusPayload), 2},
        {"ShortTermActivation", [](auto& builder) { return builder.BuildShortTermActivation(kAddress, 7, false); },
         "09 07", typeid(BrenkShortTermActivationPayload), 0x0A},
        {"ShortTermActivationForAnEvent",
         [](auto& builder) { return builder.BuildShortTermActivation(kAddress, 7, true); }, "89 07",
         typeid(BrenkShortTermActivationPayload), 0x0A},
        {"LongTermActivation",
         [](auto& builder) { return builder.BuildLongTermActivation(kAddress, 0x1234, 0x5678, false); },
         "0A 12 34 56 78", typeid(BrenkLongTermActivationPayload), 0x0B},
        {"LongTermActivationForAnEvent",
         [](auto& builder) { return builder.BuildLongTermActivation(kAddress, 0, 5, true); }, "8A 00 00 00 05",
         typeid(BrenkLongTermActivationPayload), 0x0B},
        {"LongTermRelease", [](auto& builder) { return builder.BuildLongTermRelease(kAddress, 300, false); },
         "0B 01 2C", typeid(BrenkLongTermReleasePayload), 0x0C},
        {"LongTermReleaseForAnEvent", [](auto& builder) { return builder.BuildLongTermRelease(kAddress, 300, true); },
         "8B 01 2C", typeid(BrenkLongTermReleasePayload), 0x0C},
        {"AccessDenied", [](auto& builder) { return builder.BuildAccessDenied(kAddress, false); }, "08",
         typeid(BrenkDeviceOnlyPayload), 8},
        {"AccessDeniedForAnEvent", [](auto& builder) { return builder.BuildAccessDenied(kAddress, true); }, "88",
         typeid(BrenkDeviceOnlyPayload), 8},
        {"AddToWhitelistByUid", card(add, true, 0, 1), "03 00 01 0A 00 00 00 00 00 00 00 B2 A1 04",
         typeid(BrenkAddOrRemoveFromWhitelistPayload), 0},
        {"AddToWhitelistWithSetupNumber", card(add, false, 1, 0), "03 01 00 03 04 A1 B2",
         typeid(BrenkAddOrRemoveFromWhitelistPayload), 0},
        {"RemoveFromWhitelistByUid", card(remove, true, 0, 0), "04 00 00 0A 00 00 00 00 00 00 00 B2 A1 04",
         typeid(BrenkAddOrRemoveFromWhitelistPayload), 0},
        {"RemoveFromWhitelistNeverSendsAnOption", card(remove, false, 1, 1), "04 01 00 03 04 A1 B2",
         typeid(BrenkAddOrRemoveFromWhitelistPayload), 0},
        {"ClearWhitelist", [](auto& builder) { return builder.BuildClearWhitelist(kAddress); }, "05",
         typeid(BrenkMessagePayload), 0},
        {"DisableWhitelist", [](auto& builder) { return builder.BuildDisableWhitelist(kAddress); }, "06",
         typeid(BrenkDeviceOnlyPayload), 6},
        {"EnableWhitelist", [](auto& builder) { return builder.BuildEnableWhitelist(kAddress); }, "07",
         typeid(BrenkDeviceOnlyPayload), 7},
    };
}

class BuildOperation : public testing::TestWithParam<Operation> {};

TEST_P(BuildOperation, GivesItsFrameAndMovesNeitherCounter) {
    BrenkMessageBuilder builder(41, 5);
    const std::unique_ptr<BrenkMessage> message = GetParam().build(builder);
    ASSERT_NE(message, nullptr);
    const Bytes frame = Serialized(*message);
    Bytes expected = FromHex("00 FE FD 00 01 00 00 05 00 00 00 2A 00 00 01 02 " + GetParam().content);
    expected.at(0) = static_cast<unsigned char>(expected.size() + 2);
    expected.at(3) = static_cast<unsigned char>(expected.size() - 3);
    EXPECT_EQ(CutTo(frame, frame.size() - 2), expected);
    BrenkMessagePayload& payload = *message->Payload();
    EXPECT_EQ(payload.DataType(), GetParam().dataType);
    EXPECT_STREQ(typeid(payload).name(), GetParam().payload.name());
    EXPECT_EQ(builder.SequenceCounter(), 41U);
    EXPECT_EQ(builder.ReferenceID(), 5);
}

// A builder that fails to build any frame.
class RefusingBuilder : public BrenkMessageBuilder {
  public:
    RefusingBuilder() : BrenkMessageBuilder(41, 5) {}

    BrenkMessage* BuildBaseMessage(std::uint32_t, std::uint8_t, BrenkMessagePayload* payload) override {
        refusedPayload = payload != nullptr;
        return nullptr;
    }

    bool refusedPayload = false;
};

// LeakSanitizer checks that the payload is freed.
TEST_P(BuildOperation, GivesNullWhenTheBaseMessageIsNull) {
    RefusingBuilder builder;
    EXPECT_EQ(GetParam().build(builder), nullptr);
    EXPECT_TRUE(builder.refusedPayload);
}

INSTANTIATE_TEST_SUITE_P(Every, BuildOperation, testing::ValuesIn(Operations()),
                         [](const auto& row) { return row.param.name; });

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
    EXPECT_FALSE(log.Holds(plog::error, ""));
}

TEST(BrenkMessageBuilder, AReferenceIDOf64OrMoreIsAnErrorAndTheMessageIsStillReturned) {
    for (const std::uint8_t corrupted : Bytes{64, 255}) {
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
