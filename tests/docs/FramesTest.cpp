// The frames of the gateway book, read and written by the daemon's own code.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "gateway/VirtualGateway.h"
#include "messages/AnswerPayloads.h"
#include "messages/BrenkLockState.h"
#include "messages/BrenkMessageBuilder.h"
#include "messages/EventPayloads.h"
#include "messages/crc/CRC16.h"
#include "tests/docs/support/Book.h"

namespace {

using Brenk::Messages::BrenkMessage;
using Brenk::Messages::BrenkMessageBuilder;
using Documents::Book;
using Documents::Example;
using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t kAddressWithoutLock = 256;

Bytes BytesOf(const std::string& hexText) {
    std::istringstream words(hexText);
    Bytes bytes;
    for (std::string word; words >> word;) {
        bytes.push_back(static_cast<unsigned char>(std::stoul(word, nullptr, 16)));
    }
    return bytes;
}

const Book& GatewayBook() {
    static const Book book("gateway-protocol.md");
    return book;
}

Bytes BytesOf(const std::string& kind, const std::string& name) {
    const Example* const example = GatewayBook().Find(kind, name);
    return example == nullptr ? Bytes{} : BytesOf(example->text);
}

std::unique_ptr<BrenkMessage> Parsed(Bytes bytes) {
    return std::unique_ptr<BrenkMessage>(BrenkMessageBuilder(0, 1).Parse(bytes));
}

void ExpectWhole(const Example& example) {
    constexpr std::size_t kMagicAndLengths = 5;
    SCOPED_TRACE(example.kind + " " + example.name);
    const Bytes bytes = BytesOf(example.text);
    ASSERT_GE(bytes.size(), 19U);
    EXPECT_EQ(bytes.at(0), bytes.size());
    EXPECT_EQ(bytes.at(1), 0xFE);
    EXPECT_EQ(bytes.at(2), 0xFD);
    EXPECT_EQ(bytes.at(3) + kMagicAndLengths, bytes.size());
    Bytes checked(bytes.begin(), bytes.end() - 2);
    EXPECT_EQ(Brenk::CRC::CRC16::XModem(checked), bytes.at(bytes.size() - 2) << 8 | bytes.back());
}

TEST(Frames, OfTheBookAreWhole) {
    EXPECT_EQ(GatewayBook().OfKind("answer").size(), 6U);
    EXPECT_EQ(GatewayBook().OfKind("event").size(), 3U);
    for (const Example& example : GatewayBook().Blocks()) {
        ExpectWhole(example);
    }
}

TEST(Frames, OfTheQuestionsForTheCounterAreThoseOfTheBook) {
    const auto question = [](std::uint32_t counter, std::uint8_t referenceID) {
        const auto frame = BrenkMessageBuilder(counter, referenceID).BuildGetStatus(kAddressWithoutLock);
        return *std::unique_ptr<Bytes>(frame->Serialize());
    };
    EXPECT_EQ(question(0, 1), BytesOf("request", "refresh"));
    EXPECT_EQ(question(1000, 3), BytesOf("request", "keep-alive"));
}

TEST(Frames, OfAnswersMeanWhatTheBookSays) {
    const auto result = [](const std::string& name) {
        const auto frame = Parsed(BytesOf("answer", name));
        const auto& payload = dynamic_cast<const Brenk::Messages::BrenkResponsePayload&>(*frame->Payload());
        return std::make_pair(int{payload.ResponseCode()}, payload.CurrentSequenceCounter());
    };
    EXPECT_EQ(result("refresh"), std::make_pair(7, 1000U));
    EXPECT_EQ(result("keep-alive"), std::make_pair(8, 0U));
    EXPECT_EQ(result("open"), std::make_pair(0, 0U));
    EXPECT_EQ(result("whitelist-add-plain"), std::make_pair(2, 0U));
    EXPECT_EQ(result("open-unknown-lock"), std::make_pair(8, 0U));
}

TEST(Frames, OfTheStatusIsAFullBatteryAndAReader) {
    const auto frame = Parsed(BytesOf("answer", "status"));
    auto* const payload = dynamic_cast<Brenk::Messages::BrenkGetStatusPayload*>(frame->Payload());
    ASSERT_NE(payload, nullptr);
    const auto state = Brenk::Messages::BrenkLockState::ParseFromBuffer(payload);
    EXPECT_EQ(state.BatteryStatus(), 3U);
    EXPECT_EQ(state.BatteryLevel(), 3U);
    EXPECT_TRUE(state.ReaderConnected());
    EXPECT_FALSE(state.MechanicalActive() || state.BatteryWarning() || state.BatteryAlarm());
}

struct EventRow {
    const char* name;
    int code;
    std::uint32_t address;
    Bytes data;
};

TEST(Frames, OfEventsMeanWhatTheBookSays) {
    const std::vector<EventRow> rows = {
        {"card", 0x0E, 5, {0x04, 0xA1, 0xB2, 0xC3}},
        {"allowed", 0x0F, 5, {0x04, 0xA1, 0xB2, 0xC3}},
        {"pin", 0x16, 70000, {'1', '2', '3', '4'}},
    };
    for (const EventRow& row : rows) {
        SCOPED_TRACE(row.name);
        const auto frame = Parsed(BytesOf("event", row.name));
        EXPECT_TRUE(Brenk::VirtualGateway::IsEventMessageType(frame.get()));
        EXPECT_EQ(frame->PayloadType(), row.code);
        EXPECT_EQ(frame->DeviceAddress(), row.address);
        const auto& payload = dynamic_cast<const Brenk::Messages::BrenkReaderEventPayload&>(*frame->Payload());
        EXPECT_EQ(payload.Data(), row.data);
    }
}

}  // namespace
