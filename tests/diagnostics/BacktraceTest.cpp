// This program is linked so that backtrace() and backtrace_symbols() come here first: what they return can then be
// chosen.
#include "diagnostics/Dump.h"

#include <execinfo.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/CapturedLog.h"

namespace {

std::function<int(void**, int)> addresses;
std::function<char**(void* const*, int)> symbols;

}  // namespace

extern "C" {
int __real_backtrace(void** buffer, int size);
int __wrap_backtrace(void** buffer, int size) {
    return addresses ? addresses(buffer, size) : __real_backtrace(buffer, size);
}
char** __real_backtrace_symbols(void* const* buffer, int size);
char** __wrap_backtrace_symbols(void* const* buffer, int size) {
    return symbols ? symbols(buffer, size) : __real_backtrace_symbols(buffer, size);
}
}

namespace Diagnostics {
namespace {

using testing::ElementsAre;

class BacktraceTest : public testing::Test {
  protected:
    ~BacktraceTest() override {
        addresses = nullptr;
        symbols = nullptr;
    }

    // The texts of all lines, which must be errors, without the signatures of the functions that wrote them.
    std::vector<std::string> Texts() const {
        std::vector<std::string> texts;
        for (const auto& [severity, line] : log_.Lines()) {
            EXPECT_EQ(severity, plog::error);
            const std::size_t end = line.find(") ");
            texts.push_back(line.substr(end == std::string::npos ? 0 : end + 2));
        }
        return texts;
    }

    Testing::CapturedLog log_;
};

int TwoAddresses(void** buffer, int) {
    buffer[0] = reinterpret_cast<void*>(0x1000);
    buffer[1] = reinterpret_cast<void*>(0x2A);
    return 2;
}

// One block, as backtrace_symbols() makes it: the caller frees the array only.
char** OneNameAndNone(void* const*, int) {
    static constexpr char kName[] = "program(main+0x10)";
    auto* const block = static_cast<char**>(std::malloc(2 * sizeof(char*) + sizeof kName));
    char* const name = reinterpret_cast<char*>(block + 2);
    std::memcpy(name, kName, sizeof kName);
    block[0] = name;
    block[1] = nullptr;
    return block;
}

TEST_F(BacktraceTest, TheCallStackIsOneLinePerFrame) {
    LogBacktrace();
    const auto lines = log_.Lines();
    ASSERT_GT(lines.size(), 3U);
    EXPECT_EQ(lines.at(0).second, "void Diagnostics::LogBacktrace() Obtaining stack trace for current SIG.");
    EXPECT_THAT(lines.at(1).second, testing::EndsWith(" Backtrace (frames) with symbols starts here"));
    EXPECT_TRUE(log_.Holds(plog::error, "backtrace_test")) << log_.Text();
}

TEST_F(BacktraceTest, AMissingSymbolIsShownAsNull) {
    addresses = TwoAddresses;
    symbols = OneNameAndNone;
    LogBacktrace();
    EXPECT_THAT(Texts(), ElementsAre("Obtaining stack trace for current SIG.",
                                     "Backtrace (frames) with symbols starts here", "program(main+0x10)", "<NULL>"));
}

TEST_F(BacktraceTest, WithoutSymbolsTheRawAddressesAreLoggedOnePerLine) {
    addresses = TwoAddresses;
    symbols = [](void* const*, int) -> char** { return nullptr; };
    LogBacktrace();
    EXPECT_THAT(Texts(), ElementsAre("Obtaining stack trace for current SIG.", "Backtrace symbols are not available",
                                     "Backtrace (frames) starts here", "0x1000", "0x2a"));
}

TEST_F(BacktraceTest, AStackOf500FramesIsSaidToBePerhapsTruncated) {
    static int frames = 0;
    addresses = [](void** buffer, int size) {
        EXPECT_EQ(size, 500);
        std::fill_n(buffer, frames, reinterpret_cast<void*>(0x1000));
        return frames;
    };
    symbols = [](void* const*, int size) {
        EXPECT_EQ(size, frames);
        return static_cast<char**>(std::calloc(static_cast<std::size_t>(frames), sizeof(char*)));
    };
    std::vector<std::string> expected;
    for (frames = 499; frames <= 500; ++frames) {
        LogBacktrace();
        expected.emplace_back("Obtaining stack trace for current SIG.");
        if (frames == 500) {
            expected.emplace_back("Backtrace may have been truncated to current max value of500");
        }
        expected.emplace_back("Backtrace (frames) with symbols starts here");
        expected.resize(expected.size() + static_cast<std::size_t>(frames), "<NULL>");
    }
    EXPECT_EQ(Texts(), expected);
}

TEST_F(BacktraceTest, PreparingAsksForAFrameAndLogsNothing) {
    int asked = 0;
    addresses = [&](void**, int size) {
        asked += size;
        return 0;
    };
    PrepareBacktrace();
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(log_.Lines().empty());
}

}  // namespace
}  // namespace Diagnostics
