#include "messages/RequestPayloads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"

// Expected bytes written by hand from the payload layout.

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CapturedLog;
using testing::ElementsAre;
using testing::EndsWith;
using Testing::FromHex;
using testing::Pair;
using Testing::Serialized;
using testing::StartsWith;

TEST(BrenkDeviceOnlyPayload, HasTheGivenDataTypeAndNoBytes) {
    for (const std::uint8_t dataType : Bytes{6, 7, 8}) {
        BrenkDeviceOnlyPayload payload(dataType);
        EXPECT_EQ(payload.DataType(), dataType);
        EXPECT_EQ(Serialized(payload), Bytes());
    }
}

TEST(BrenkShortTermActivationPayload, IsItsValue) {
    BrenkShortTermActivationPayload payload(0xC8);
    EXPECT_EQ(payload.DataType(), 0x0A);
    EXPECT_EQ(Serialized(payload), FromHex("C8"));
}

TEST(BrenkShortTermActivationPayload, TakesTheLowestAndTheHighestValue) {
    BrenkShortTermActivationPayload lowest(0);
    EXPECT_EQ(Serialized(lowest), FromHex("00"));
    BrenkShortTermActivationPayload highest(255);
    EXPECT_EQ(Serialized(highest), FromHex("FF"));
}

TEST(BrenkLongTermActivationPayload, Of0And5Is00000005) {
    BrenkLongTermActivationPayload payload(0, 5);
    EXPECT_EQ(payload.DataType(), 0x0B);
    EXPECT_EQ(Serialized(payload), FromHex("00 00 00 05"));
}

TEST(BrenkLongTermActivationPayload, HasTheFirstValueFirstAndBothBigEndian) {
    BrenkLongTermActivationPayload payload(0x1234, 0xABCD);
    EXPECT_EQ(Serialized(payload), FromHex("12 34 AB CD"));
}

TEST(BrenkLongTermReleasePayload, Of300Is012C) {
    BrenkLongTermReleasePayload payload(300);
    EXPECT_EQ(payload.DataType(), 0x0C);
    EXPECT_EQ(Serialized(payload), FromHex("01 2C"));
    BrenkLongTermReleasePayload highest(0xFFFE);
    EXPECT_EQ(Serialized(highest), FromHex("FF FE"));
}

constexpr bool kUidMode = true;
constexpr bool kPlain = false;

constexpr const char* kDummyData =
    "Message card data bytes are null. This means no valid data was provided. Whitelist message payload will be filled "
    "with dummy data, so Brenk Gateway will return a correlated error for the request.";

Bytes Payload(bool uidMode, std::uint8_t setupNumber, std::uint8_t option, Bytes cardData) {
    BrenkAddOrRemoveFromWhitelistPayload payload(uidMode, setupNumber, option, cardData);
    return Testing::Serialized(payload);
}

// Matches a line of the log with this severity and this text behind its signature.
auto Line(plog::Severity severity, const std::string& text) {
    return Pair(severity, EndsWith(" " + text));
}

// 1, 2, 3, ...
Bytes Counting(std::size_t count) {
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, ItsDataTypeIsNotSet) {
    Bytes cardData = {1};
    EXPECT_EQ(BrenkAddOrRemoveFromWhitelistPayload(kPlain, 0, 0, cardData).DataType(), 0);
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, AUidOfFourBytesIsReversedBehindSixZeros) {
    EXPECT_EQ(Payload(kUidMode, 0, 1, FromHex("04 A1 B2 C3")), FromHex("00 01 0A 00 00 00 00 00 00 C3 B2 A1 04"));
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, AUidOfTenBytesIsReversed) {
    EXPECT_EQ(Payload(kUidMode, 0, 0, FromHex("01 02 03 04 05 06 07 08 09 0A")),
              FromHex("00 00 0A 0A 09 08 07 06 05 04 03 02 01"));
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, AUidOfOneByteAndOfNineBytesArePaddedToTen) {
    EXPECT_EQ(Payload(kUidMode, 0, 0, FromHex("7F")), FromHex("00 00 0A 00 00 00 00 00 00 00 00 00 7F"));
    EXPECT_EQ(Payload(kUidMode, 0, 0, Counting(9)), FromHex("00 00 0A 00 09 08 07 06 05 04 03 02 01"));
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, AUidOfElevenBytesIsRefusedWithAWarningAndSentWithoutCardBytes) {
    const CapturedLog log;
    EXPECT_EQ(Payload(kUidMode, 0, 1, Counting(11)), FromHex("00 01 00"));
    EXPECT_THAT(log.Lines(),
                ElementsAre(Line(plog::warning, "Invalid card data. Whitelist message cannot be processed."),
                            Line(plog::warning, kDummyData)));
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, SevenBytesOutsideUidModeWithSetupNumberZeroAreUnchanged) {
    const CapturedLog log;
    EXPECT_EQ(Payload(kPlain, 0, 1, Counting(7)), FromHex("00 01 07 01 02 03 04 05 06 07"));
    EXPECT_THAT(log.Lines(),
                ElementsAre(Line(plog::debug, "Card data is not UID mode. So the data will be simply copied.")));
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, ElevenBytesOutsideUidModeAreUnchanged) {
    EXPECT_EQ(Payload(kPlain, 0, 0, Counting(11)), FromHex("00 00 0B 01 02 03 04 05 06 07 08 09 0A 0B"));
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, EmptyCardDataWithSetupNumberZeroIsAnErrorThenTheDummyDataWarning) {
    for (const bool uidMode : {kUidMode, kPlain}) {
        const CapturedLog log;
        EXPECT_EQ(Payload(uidMode, 0, 0, {}), FromHex("00 00 00"));
        EXPECT_THAT(log.Lines(),
                    ElementsAre(Line(plog::error, "Whitelist card UUID vector is empty. Cannot request message."),
                                Line(plog::warning, kDummyData)));
    }
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, EachLineStandsUnderTheSignatureOfTheFunctionThatWritesIt) {
    const CapturedLog log;
    Payload(kPlain, 0, 0, {});
    const std::string className = "Brenk::Messages::BrenkAddOrRemoveFromWhitelistPayload";
    ASSERT_EQ(log.Lines().size(), 2U) << log.Text();
    EXPECT_THAT(log.Lines().at(0).second, StartsWith("static uint8_t* " + className + "::GenerateUIDData(bool, "));
    EXPECT_THAT(log.Lines().at(1).second,
                StartsWith(className + "::BrenkAddOrRemoveFromWhitelistPayload(bool, uint8_t, uint8_t, "));
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, TwelveBytesWithSetupNumberOneAreUnchangedWhateverTheUidMode) {
    const CapturedLog log;
    const Bytes expected = FromHex("01 01 0C 01 02 03 04 05 06 07 08 09 0A 0B 0C");
    EXPECT_EQ(Payload(kUidMode, 1, 1, Counting(12)), expected);
    EXPECT_EQ(Payload(kPlain, 1, 1, Counting(12)), expected);
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, EmptyCardDataWithAnotherSetupNumberIsSentAsItIs) {
    const CapturedLog log;
    EXPECT_EQ(Payload(kPlain, 255, 1, {}), FromHex("FF 01 00"));
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, TheCardDataLengthIsTakenModulo256) {
    for (const std::uint8_t setupNumber : {std::uint8_t{0}, std::uint8_t{1}}) {
        EXPECT_EQ(Payload(kPlain, setupNumber, 0, Bytes(255, 0x55)).size(), 3U + 255U);
        EXPECT_EQ(Payload(kPlain, setupNumber, 0, Bytes(256, 0x55)), (Bytes{setupNumber, 0, 0}));
        EXPECT_EQ(Payload(kPlain, setupNumber, 0, Counting(258)), (Bytes{setupNumber, 0, 2, 1, 2}));
    }
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, TheOptionIsSentAsGiven) {
    EXPECT_EQ(Payload(kPlain, 2, 0xA5, {9}), FromHex("02 A5 01 09"));
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, TheCallersCardDataIsLeftAsItIs) {
    Bytes cardData = FromHex("04 A1 B2 C3");
    const BrenkAddOrRemoveFromWhitelistPayload payload(kUidMode, 0, 0, cardData);
    EXPECT_EQ(cardData, FromHex("04 A1 B2 C3"));
}

TEST(GenerateUIDData, ReturnsATenByteArrayInUidMode) {
    const std::unique_ptr<std::uint8_t[]> array(
        BrenkAddOrRemoveFromWhitelistPayload::GenerateUIDData(kUidMode, FromHex("04 A1 B2 C3")));
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(Bytes(array.get(), array.get() + 10), FromHex("00 00 00 00 00 00 C3 B2 A1 04"));
}

TEST(GenerateUIDData, ReturnsACopyOutsideUidMode) {
    const std::unique_ptr<std::uint8_t[]> array(
        BrenkAddOrRemoveFromWhitelistPayload::GenerateUIDData(kPlain, FromHex("04 A1 B2 C3")));
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(Bytes(array.get(), array.get() + 4), FromHex("04 A1 B2 C3"));
}

TEST(GenerateUIDData, ReturnsNullForEmptyDataAndForAUidThatIsTooLong) {
    EXPECT_EQ(BrenkAddOrRemoveFromWhitelistPayload::GenerateUIDData(kUidMode, {}), nullptr);
    EXPECT_EQ(BrenkAddOrRemoveFromWhitelistPayload::GenerateUIDData(kPlain, {}), nullptr);
    EXPECT_EQ(BrenkAddOrRemoveFromWhitelistPayload::GenerateUIDData(kUidMode, Counting(11)), nullptr);
}

TEST(GenerateUIDData, AShortUidIsLoggedAtDebugWithTheResultAsText) {
    const CapturedLog log;
    Payload(kUidMode, 0, 0, FromHex("04 A1 B2 C3"));
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(
            Line(plog::debug, "Card data is of valid dimension for UID mode. The data will be simply copied."),
            Line(plog::debug, "The data isn't of UID mode length. It will be zero filled."),
            Line(plog::debug, "The card data converted in BRENK Message data is 00 00 00 00 00 00 C3 B2 A1 04")));
}

TEST(GenerateUIDData, AUidOfFullLengthIsLoggedAtDebug) {
    const CapturedLog log;
    Payload(kUidMode, 0, 0, Counting(10));
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(Line(plog::debug, "Card data is of valid dimension for UID mode. The data will be simply copied."),
                    Line(plog::debug, "Card data is of UID mode length. A simple copy of the data will be done.")));
}

TEST(BrenkAccessDenied, HasDataType0DAndNoBytes) {
    BrenkAccessDenied payload;
    EXPECT_EQ(payload.DataType(), 0x0D);
    EXPECT_EQ(Serialized(payload), Bytes());
}

TEST(BrenkActivateWhitelist, HasDataType1EAndNoBytes) {
    BrenkActivateWhitelist payload;
    EXPECT_EQ(payload.DataType(), 0x1E);
    EXPECT_EQ(Serialized(payload), Bytes());
}

TEST(BrenkDeactivateWhitelist, HasDataType1FAndNoBytes) {
    BrenkDeactivateWhitelist payload;
    EXPECT_EQ(payload.DataType(), 0x1F);
    EXPECT_EQ(Serialized(payload), Bytes());
}

}  // namespace
}  // namespace Brenk::Messages
