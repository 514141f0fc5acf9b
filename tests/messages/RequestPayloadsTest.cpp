#include "messages/RequestPayloads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <string>

#include "tests/messages/WireBytes.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/LoggedLine.h"

// Expected bytes written by hand from the payload layout.

namespace Brenk::Messages {
namespace {

using Testing::Bytes;
using Testing::CapturedLog;
using testing::ElementsAre;
using Testing::FromHex;
using Testing::Logged;
using Testing::Serialized;

void ExpectPayload(BrenkMessagePayload&& payload, std::uint8_t dataType, const std::string& bytes) {
    EXPECT_EQ(payload.DataType(), dataType);
    EXPECT_EQ(Serialized(payload), FromHex(bytes));
}

TEST(RequestPayloads, HaveTheirDataTypeAndTheirValuesBigEndian) {
    ExpectPayload(BrenkMessagePayload(), 0, "");
    ExpectPayload(BrenkDeviceOnlyPayload(6), 6, "");
    ExpectPayload(BrenkDeviceOnlyPayload(8), 8, "");
    ExpectPayload(BrenkAccessDenied(), 0x0D, "");
    ExpectPayload(BrenkActivateWhitelist(), 0x1E, "");
    ExpectPayload(BrenkDeactivateWhitelist(), 0x1F, "");
    ExpectPayload(BrenkShortTermActivationPayload(0), 0x0A, "00");
    ExpectPayload(BrenkShortTermActivationPayload(255), 0x0A, "FF");
    ExpectPayload(BrenkLongTermActivationPayload(0x1234, 0xABCD), 0x0B, "12 34 AB CD");
    ExpectPayload(BrenkLongTermReleasePayload(0xFFFE), 0x0C, "FF FE");
}

constexpr bool kUidMode = true;
constexpr bool kPlain = false;

constexpr const char* kDummyData =
    "Message card data bytes are null. This means no valid data was provided. Whitelist message payload will be filled "
    "with dummy data, so Brenk Gateway will return a correlated error for the request.";

Bytes CardPayload(bool uidMode, std::uint8_t setupNumber, std::uint8_t option, Bytes cardData) {
    BrenkAddOrRemoveFromWhitelistPayload payload(uidMode, setupNumber, option, cardData);
    EXPECT_EQ(payload.DataType(), 0);
    return Serialized(payload);
}

// 1, 2, 3, ...
Bytes Counting(std::size_t count) {
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, ReversesAUidOfUpToTenBytesBehindZeros) {
    EXPECT_EQ(CardPayload(kUidMode, 0, 0, Counting(1)), FromHex("00 00 0A 00 00 00 00 00 00 00 00 00 01"));
    EXPECT_EQ(CardPayload(kUidMode, 0, 1, Counting(9)), FromHex("00 01 0A 00 09 08 07 06 05 04 03 02 01"));
    EXPECT_EQ(CardPayload(kUidMode, 0, 0, Counting(10)), FromHex("00 00 0A 0A 09 08 07 06 05 04 03 02 01"));
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, RefusesAUidOfElevenBytesAndSendsNoCardBytes) {
    const CapturedLog log;
    EXPECT_EQ(CardPayload(kUidMode, 0, 1, Counting(11)), FromHex("00 01 00"));
    EXPECT_THAT(log.Lines(),
                ElementsAre(Logged(plog::warning, "Invalid card data. Whitelist message cannot be processed."),
                            Logged(plog::warning, kDummyData)));
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, EmptyCardDataWithSetupNumberZeroIsAnErrorThenTheDummyDataWarning) {
    const std::string className = "Brenk::Messages::BrenkAddOrRemoveFromWhitelistPayload";
    for (const bool uidMode : {kUidMode, kPlain}) {
        const CapturedLog log;
        EXPECT_EQ(CardPayload(uidMode, 0, 0, {}), FromHex("00 00 00"));
        EXPECT_THAT(log.Lines(),
                    ElementsAre(Logged(plog::error, "Whitelist card UUID vector is empty. Cannot request message."),
                                Logged(plog::warning, kDummyData)));
        EXPECT_TRUE(log.Holds(plog::error, "static uint8_t* " + className + "::GenerateUIDData(bool, "));
        EXPECT_TRUE(log.Holds(plog::warning, className + "::BrenkAddOrRemoveFromWhitelistPayload(bool, uint8_t, "));
    }
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, SendsOtherCardDataAsTheyAre) {
    EXPECT_EQ(CardPayload(kPlain, 0, 1, Counting(7)), FromHex("00 01 07 01 02 03 04 05 06 07"));
    EXPECT_EQ(CardPayload(kPlain, 0, 0, Counting(11)), FromHex("00 00 0B 01 02 03 04 05 06 07 08 09 0A 0B"));
    EXPECT_EQ(CardPayload(kPlain, 2, 0xA5, {9}), FromHex("02 A5 01 09"));
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, WithASetupNumberLeavesTheDataAloneWhateverTheUidMode) {
    const CapturedLog log;
    EXPECT_EQ(CardPayload(kUidMode, 1, 1, Counting(12)), FromHex("01 01 0C 01 02 03 04 05 06 07 08 09 0A 0B 0C"));
    EXPECT_EQ(CardPayload(kPlain, 1, 1, Counting(3)), FromHex("01 01 03 01 02 03"));
    EXPECT_EQ(CardPayload(kPlain, 255, 1, {}), FromHex("FF 01 00"));
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, TakesTheCardDataLengthModulo256) {
    for (const std::uint8_t setupNumber : Bytes{0, 1}) {
        EXPECT_EQ(CardPayload(kPlain, setupNumber, 0, Bytes(255, 0x55)).size(), 3U + 255U);
        EXPECT_EQ(CardPayload(kPlain, setupNumber, 0, Bytes(256, 0x55)), (Bytes{setupNumber, 0, 0}));
        EXPECT_EQ(CardPayload(kPlain, setupNumber, 0, Counting(258)), (Bytes{setupNumber, 0, 2, 1, 2}));
    }
}

TEST(BrenkAddOrRemoveFromWhitelistPayload, LeavesTheCallersCardDataAsTheyAre) {
    Bytes cardData = Counting(4);
    const BrenkAddOrRemoveFromWhitelistPayload payload(kUidMode, 0, 0, cardData);
    EXPECT_EQ(cardData, Counting(4));
}

// The first `size` bytes of the array; empty for null.
Bytes UidData(bool uidMode, const Bytes& data, std::size_t size) {
    const std::unique_ptr<std::uint8_t[]> array(BrenkAddOrRemoveFromWhitelistPayload::GenerateUIDData(uidMode, data));
    return array == nullptr ? Bytes() : Bytes(array.get(), array.get() + size);
}

TEST(GenerateUIDData, GivesTenBytesInUidModeAndElseACopy) {
    EXPECT_EQ(UidData(kUidMode, FromHex("04 A1 B2 C3"), 10), FromHex("00 00 00 00 00 00 C3 B2 A1 04"));
    EXPECT_EQ(UidData(kPlain, FromHex("04 A1 B2 C3"), 4), FromHex("04 A1 B2 C3"));
    EXPECT_EQ(UidData(kUidMode, {}, 10), Bytes());
    EXPECT_EQ(UidData(kPlain, {}, 10), Bytes());
    EXPECT_EQ(UidData(kUidMode, Counting(11), 10), Bytes());
}

TEST(GenerateUIDData, LogsWhatItDoesWithTheData) {
    const auto valid =
        Logged(plog::debug, "Card data is of valid dimension for UID mode. The data will be simply copied.");
    const CapturedLog log;
    UidData(kUidMode, FromHex("04 A1 B2 C3"), 10);
    UidData(kUidMode, Counting(10), 10);
    UidData(kPlain, Counting(10), 10);
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(
            valid, Logged(plog::debug, "The data isn't of UID mode length. It will be zero filled."),
            Logged(plog::debug, "The card data converted in BRENK Message data is 00 00 00 00 00 00 C3 B2 A1 04"),
            valid, Logged(plog::debug, "Card data is of UID mode length. A simple copy of the data will be done."),
            Logged(plog::debug, "Card data is not UID mode. So the data will be simply copied.")));
}

}  // namespace
}  // namespace Brenk::Messages
