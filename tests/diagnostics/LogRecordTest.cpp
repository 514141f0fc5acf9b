#include "diagnostics/LogRecord.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "diagnostics/Log.h"
#include "tests/support/Threads.h"

namespace Diagnostics {
namespace {

enum Colour { kRed = 3 };

constexpr const char* kFunction = "void Mux::BrenkMux::Start()";

template <typename Operand>
void ExpectAsTheLibrary(const Operand& operand) {
    plog::Record record(plog::info, kFunction, 1, "", nullptr, 0);
    record << kFunction << ' ' << operand << '.';
    const LogLine line = std::move(LogLine(plog::info, kFunction, 1) << operand << '.');
    EXPECT_STREQ(line.Record()->getMessage(), record.getMessage());
}

template <typename Number>
void ExpectNumbersAsTheLibrary() {
    ExpectAsTheLibrary(std::numeric_limits<Number>::min());
    ExpectAsTheLibrary(std::numeric_limits<Number>::max());
    ExpectAsTheLibrary(Number{42});
}

TEST(LogLine, WritesNumbersAsTheLibrary) {
    ExpectNumbersAsTheLibrary<std::int16_t>();
    ExpectNumbersAsTheLibrary<std::uint16_t>();
    ExpectNumbersAsTheLibrary<std::int32_t>();
    ExpectNumbersAsTheLibrary<std::uint32_t>();
    ExpectNumbersAsTheLibrary<std::int64_t>();
    ExpectNumbersAsTheLibrary<std::uint64_t>();
    ExpectNumbersAsTheLibrary<unsigned long long>();
    ExpectNumbersAsTheLibrary<double>();
    ExpectAsTheLibrary(0.1);
    ExpectAsTheLibrary(1234567.0);
    ExpectAsTheLibrary(true);
    ExpectAsTheLibrary(kRed);
}

TEST(LogLine, WritesTextsAndCharactersAsTheLibrary) {
    std::string cut = "before";
    cut += '\0';
    cut += "behind";
    char array[] = "array";
    ExpectAsTheLibrary(cut);
    ExpectAsTheLibrary(std::string());
    ExpectAsTheLibrary(std::string(5000, 'x'));
    ExpectAsTheLibrary("literal");
    ExpectAsTheLibrary(static_cast<const char*>(nullptr));
    ExpectAsTheLibrary(array);
    ExpectAsTheLibrary(static_cast<char*>(array));
    ExpectAsTheLibrary('c');
    ExpectAsTheLibrary('\0');
    ExpectAsTheLibrary('\xFF');
    ExpectAsTheLibrary(static_cast<unsigned char>('u'));
    ExpectAsTheLibrary(static_cast<signed char>('s'));
    ExpectAsTheLibrary(static_cast<const void*>(array));
}

// The library ends the line there.
TEST(LogLine, GoesOnBehindAnUnsignedCharacterThatIsNul) {
    const LogLine line = std::move(LogLine(plog::info, "f", 1) << "before" << std::uint8_t{0} << "behind");
    EXPECT_STREQ(line.Record()->getMessage(), "f beforebehind");
}

TEST(LogRecord, IsALineOfThisMomentAndThread) {
    const LogRecordPointer record = TakeRecord();
    const std::time_t before = std::time(nullptr);
    record->Begin(plog::warning, "std::string Mux::MuxMessage::ToJSON()", 33);
    const plog::Record& line = *record;
    EXPECT_GE(line.getTime().time, before - 1);
    EXPECT_LE(line.getTime().time, std::time(nullptr));
    EXPECT_EQ(line.getTid(), static_cast<unsigned>(gettid()));
    EXPECT_EQ(line.getSeverity(), plog::warning);
    EXPECT_EQ(line.getLine(), 33U);
    EXPECT_STREQ(line.getFunc(), "Mux::MuxMessage::ToJSON");
    EXPECT_STREQ(line.getMessage(), "");
}

TEST(LogRecord, ThatWasGivenBackIsUsedAgainWithoutItsText) {
    LogRecordPointer record = TakeRecord();
    record->Begin(plog::info, kFunction, 1);
    record->Text() = "the last line";
    const LogRecord* const first = record.get();
    record.reset();
    record = TakeRecord();
    EXPECT_EQ(record.get(), first);
    record->Begin(plog::info, kFunction, 1);
    EXPECT_STREQ(record->getMessage(), "");
}

TEST(LogRecord, BelongsToOneUserHoweverManyThereAre) {
    std::vector<LogRecordPointer> records;
    std::set<const LogRecord*> different;
    for (int count = 0; count < 20; ++count) {
        records.push_back(TakeRecord());
        different.insert(records.back().get());
    }
    EXPECT_EQ(different.size(), records.size());
}

TEST(LogRecord, DoesNotKeepTheMemoryOfALongText) {
    LogRecordPointer record = TakeRecord();
    record->Text() = std::string(70000, 'x');
    const LogRecord* const first = record.get();
    record.reset();
    record = TakeRecord();
    ASSERT_EQ(record.get(), first);
    EXPECT_LT(record->Text().capacity(), 2000U);
}

TEST(LogRecord, IsSharedByNoTwoThreadsAtTheSameTime) {
    constexpr int kThreads = 8;
    constexpr int kTurns = 5000;
    Testing::OnThreads(kThreads, [](int number) {
        const std::string own(30, static_cast<char>('a' + number));
        for (int turn = 0; turn < kTurns; ++turn) {
            const LogRecordPointer record = TakeRecord();
            record->Text() = own;
            ASSERT_EQ(record->Text(), own);
        }
    });
}

}  // namespace
}  // namespace Diagnostics
