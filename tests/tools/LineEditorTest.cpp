#include "tools/gateway-simulator/LineEditor.h"

#include <gtest/gtest.h>

namespace Simulator {
namespace {

class LineEditorTest : public testing::Test {
  protected:
    void Type(const std::string& text) {
        for (const char character : text) {
            EXPECT_EQ(editor_.Take({Key::kCharacter, character}), std::nullopt);
        }
    }

    void Press(Key key) { EXPECT_EQ(editor_.Take({key}), std::nullopt); }

    std::string Enter() { return editor_.Take({Key::kEnter}).value_or("nothing"); }

    // The line with the cursor as a bar.
    std::string Line() const {
        std::string line = editor_.Text();
        return line.insert(editor_.Cursor(), "|");
    }

    LineEditor editor_;
};

TEST_F(LineEditorTest, GivesTheLineAndBeginsANewOne) {
    Type("locks");
    EXPECT_EQ(Line(), "locks|");
    EXPECT_EQ(Enter(), "locks");
    EXPECT_EQ(Line(), "|");
    EXPECT_EQ(Enter(), "");
}

TEST_F(LineEditorTest, InsertsAndErasesAtTheCursor) {
    Type("cad");
    Press(Key::kLeft);
    Type("r");
    EXPECT_EQ(Line(), "car|d");
    Press(Key::kHome);
    Press(Key::kDelete);
    EXPECT_EQ(Line(), "|ard");
    Press(Key::kRight);
    Press(Key::kBackspace);
    EXPECT_EQ(Line(), "|rd");
    Press(Key::kEnd);
    EXPECT_EQ(Line(), "rd|");
    EXPECT_EQ(Enter(), "rd");
}

TEST_F(LineEditorTest, StopsAtBothEnds) {
    for (const Key key : {Key::kLeft, Key::kBackspace, Key::kRight, Key::kDelete, Key::kUp, Key::kDown}) {
        Press(key);
        EXPECT_EQ(Line(), "|");
    }
    Type("a");
    Press(Key::kRight);
    Press(Key::kDelete);
    EXPECT_EQ(Line(), "a|");
    Press(Key::kLeft);
    Press(Key::kLeft);
    Press(Key::kBackspace);
    EXPECT_EQ(Line(), "|a");
}

TEST_F(LineEditorTest, BringsEarlierLinesBack) {
    Type("one");
    Enter();
    Type("two");
    Enter();
    Press(Key::kUp);
    EXPECT_EQ(Line(), "two|");
    Press(Key::kUp);
    Press(Key::kUp);
    EXPECT_EQ(Line(), "one|");
    Press(Key::kDown);
    EXPECT_EQ(Line(), "two|");
    Press(Key::kDown);
    EXPECT_EQ(Line(), "|");
}

TEST_F(LineEditorTest, RemembersALineOnceAndNoEmptyOne) {
    for (const char* const line : {"one", "two", "two", ""}) {
        Type(line);
        Enter();
    }
    Press(Key::kUp);
    EXPECT_EQ(Line(), "two|");
    Press(Key::kUp);
    EXPECT_EQ(Line(), "one|");
}

TEST_F(LineEditorTest, ClearsTheLine) {
    Type("one");
    Enter();
    Press(Key::kUp);
    Press(Key::kClearLine);
    EXPECT_EQ(Line(), "|");
    Press(Key::kUp);
    EXPECT_EQ(Line(), "one|");
}

TEST_F(LineEditorTest, IgnoresOtherKeys) {
    Type("one");
    for (const Key key : {Key::kPageUp, Key::kPageDown, Key::kRedraw, Key::kOther}) {
        Press(key);
        EXPECT_EQ(Line(), "one|");
    }
}

}  // namespace
}  // namespace Simulator
