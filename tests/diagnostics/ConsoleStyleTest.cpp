#include "diagnostics/ConsoleStyle.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <string>

namespace Diagnostics {
namespace {

class ConsoleStyleTest : public testing::Test {
  protected:
    ConsoleStyleTest() { EXPECT_EQ(openpty(&ours_, &terminal_, nullptr, nullptr, nullptr), 0); }
    ~ConsoleStyleTest() override {
        close(ours_);
        close(terminal_);
    }

    int ours_ = -1;
    int terminal_ = -1;
};

struct Row {
    const char* text;
    const char* shown;
};

// The escape of a text is ended by a quote where a digit follows.
constexpr Row kRows[] = {
    {"plain\n", "plain\n"},
    {"a\tb\nc\n", "a\tb\nc\n"},
    {"\x1B[2J", "\\x1B[2J"},
    {"\x07\x08\r\x01\x1F", "\\x07\\x08\\x0D\\x01\\x1F"},
    {"\x7F", "\\x7F"},
    {"~ \x20", "~  "},
    // U+0080, U+009B and U+009F; U+00A0 is no control character.
    {"\xC2\x80\xC2\x9B\xC2\x9F", "\\xC2\\x80\\xC2\\x9B\\xC2\\x9F"},
    {"\xC2\xA0", "\xC2\xA0"},
    // Of 8 bits on their own, behind what would be a beginning too, and as forms that UTF-8 forbids.
    {"\x9B[2J", "\\x9B[2J"},
    {"\x80\x9F\xA0", "\\x80\\x9F\xA0"},
    {"\xE2\x9B[", "\xE2\\x9B["},
    {"\xC0\x9B", "\xC0\\x9B"},
    {"\xC1\x9B", "\xC1\\x9B"},
    {"\xE0\x82\x9B", "\xE0\\x82\\x9B"},
    {"\xF0\x80\x82\x9B", "\xF0\\x80\\x82\\x9B"},
    {"\xED\xA0\x80", "\xED\xA0\\x80"},
    {"\xF4\x90\x80\x80", "\xF4\\x90\\x80\\x80"},
    {"\xF5\x80\x80\x80", "\xF5\\x80\\x80\\x80"},
    {"\xE2\x82", "\xE2\\x82"},
    {"\xC2\x1B[2J", "\xC2\\x1B[2J"},
    // Letters whose bytes are among them.
    {"\xC3\x9C\xC3\x9B", "\xC3\x9C\xC3\x9B"},
    {"\xE0\xA0\x80 \xE1\x80\x80 \xED\x9F\xBF \xEE\x80\x80", "\xE0\xA0\x80 \xE1\x80\x80 \xED\x9F\xBF \xEE\x80\x80"},
    {"\xF0\x9F\x9A\xAA \xF1\x80\x80\x80 \xF4\x8F\xBF\xBF", "\xF0\x9F\x9A\xAA \xF1\x80\x80\x80 \xF4\x8F\xBF\xBF"},
};

TEST_F(ConsoleStyleTest, ATerminalIsShownControlCharactersAsHexadecimal) {
    const ConsoleStyle style(terminal_, false);
    for (const Row& row : kRows) {
        EXPECT_EQ(style.Styled(row.text, plog::info), row.shown);
    }
    EXPECT_EQ(style.Styled(std::string("a\0b", 3), plog::info), "a\\x00b");
}

TEST_F(ConsoleStyleTest, WhatIsNoTerminalGetsEveryByte) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    const ConsoleStyle style(ends[1], true);
    for (const Row& row : kRows) {
        EXPECT_EQ(style.Styled(row.text, plog::error), row.text);
    }
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ConsoleStyleTest, ColorsAreBySeverityAndTheOnlyControlCharactersOfATerminal) {
    const ConsoleStyle style(terminal_, true);
    EXPECT_EQ(style.Styled("a\x1B\n", plog::fatal), "\x1B[97m\x1B[41ma\\x1B\n\x1B[0m\x1B[0K");
    EXPECT_EQ(style.Styled("a\n", plog::error), "\x1B[91ma\n\x1B[0m\x1B[0K");
    EXPECT_EQ(style.Styled("a\n", plog::warning), "\x1B[93ma\n\x1B[0m\x1B[0K");
    EXPECT_EQ(style.Styled("a\n", plog::info), "a\n\x1B[0m\x1B[0K");
    EXPECT_EQ(style.Styled("a\n", plog::debug), "\x1B[96ma\n\x1B[0m\x1B[0K");
    EXPECT_EQ(style.Styled("a\n", plog::verbose), "\x1B[96ma\n\x1B[0m\x1B[0K");
}

}  // namespace
}  // namespace Diagnostics
