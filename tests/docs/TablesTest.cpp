// Tables of the books and tables of the code have the same rows.

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "messages/Codes.h"
#include "mux/AnswerBuilder.h"
#include "mux/EventBuilder.h"
#include "mux/messages/RequestTable.h"
#include "tests/docs/support/Book.h"

namespace {

using Documents::Book;
using Row = std::vector<std::string>;

namespace CommandCodes = Brenk::Messages::CommandCodes;

constexpr std::int32_t kLock = 70001;
constexpr std::int32_t kGateway = -3;
constexpr int kCodesTried = 1000;

std::string Quoted(const std::string& text) {
    return '"' + text + '"';
}

// The long text in the words of the book, which has letters for the numbers.
std::string InLetters(std::string text) {
    const std::map<std::string, std::string> letters = {{"address " + std::to_string(kLock), "address X"},
                                                        {"gateway " + std::to_string(kGateway), "gateway G"}};
    for (const auto& [number, letter] : letters) {
        const std::size_t found = text.find(number);
        if (found != std::string::npos) {
            text.replace(found, number.size(), letter);
        }
    }
    return text;
}

TEST(Tables, OfResultsHaveTheTextsThatClientsGet) {
    constexpr std::uint32_t kCounterError = 7;
    const std::vector<Row> rows = Book("client-protocol.md").Table("results");
    std::uint32_t result = 0;
    for (const Row& row : rows) {
        result += result + 1 == kCounterError ? 2 : 1;
        ASSERT_EQ(row.size(), 3U);
        EXPECT_EQ(row.at(0), std::to_string(result));
        EXPECT_EQ(row.at(1), Quoted(InLetters(Mux::LongErrorText(result, kLock, kGateway))));
        EXPECT_EQ(row.at(2), Quoted(Mux::ShortErrorText(result)));
    }
    EXPECT_EQ(result, 13U);
    for (; result < 256; ++result) {
        EXPECT_EQ(Mux::ShortErrorText(result), Mux::ShortErrorText(13));
    }
}

TEST(Tables, OfRequestsHaveTheCodesThatTheMuxHandsToGateways) {
    std::set<std::string> expected;
    for (int code = -kCodesTried; code <= kCodesTried; ++code) {
        const Mux::RequestKind* const request = Mux::FindRequest(code);
        if (request != nullptr && request->operation != Mux::GatewayOperation::kNone) {
            expected.insert(std::to_string(code));
        }
    }
    std::set<std::string> codes;
    for (const Row& row : Book("client-protocol.md").Table("requests")) {
        EXPECT_TRUE(codes.insert(row.at(0)).second) << row.at(0) << " twice";
    }
    EXPECT_EQ(codes, expected);
}

TEST(Tables, OfCommandsHaveTheCodesOfTheFrames) {
    const std::set<int> expected = {
        CommandCodes::kGetStatus,           CommandCodes::kAddToWhitelist,
        CommandCodes::kRemoveFromWhitelist, CommandCodes::kDeleteWholeWhitelist,
        CommandCodes::kDisableWhitelist,    CommandCodes::kEnableWhitelist,
        CommandCodes::kAccessDenied,        CommandCodes::ForEventAnswer(CommandCodes::kAccessDenied, true),
        CommandCodes::kShortTermActivation, CommandCodes::ForEventAnswer(CommandCodes::kShortTermActivation, true),
        CommandCodes::kLongTermActivation,  CommandCodes::ForEventAnswer(CommandCodes::kLongTermActivation, true),
        CommandCodes::kLongTermRelease,     CommandCodes::ForEventAnswer(CommandCodes::kLongTermRelease, true),
    };
    std::set<int> codes;
    for (const Row& row : Book("gateway-protocol.md").Table("commands")) {
        for (const std::string& code : {row.at(0), row.at(1)}) {
            if (!code.empty()) {
                codes.insert(std::stoi(code, nullptr, 16));
            }
        }
    }
    EXPECT_EQ(codes, expected);
}

// What the book says that clients get of an event of this type; events that it does not list are none.
std::string InBook(const std::vector<Row>& rows, int type) {
    for (const Row& row : rows) {
        if (std::stoi(row.at(0), nullptr, 16) == type) {
            return row.at(2);
        }
    }
    return "nothing";
}

TEST(Tables, OfEventsSayWhatClientsGet) {
    const std::vector<Row> rows = Book("gateway-protocol.md").Table("events");
    ASSERT_EQ(rows.size(), 5U);
    for (int type = 0; type < 256; ++type) {
        Brenk::Messages::VG::VirtualGatewayEventMessage event;
        event.eventType = static_cast<std::uint8_t>(type);
        const auto message = Mux::BuildEventMessage(1, event, 0);
        EXPECT_EQ(message == nullptr ? "nothing" : "event " + std::to_string(message->MessageCode()),
                  InBook(rows, type))
            << "type " << type;
    }
}

}  // namespace
