#include "benchmarks/load/AnswerCutter.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace Load {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AnswerCutterTest : public testing::Test {
  protected:
    std::vector<std::string> Feed(std::string_view received) {
        std::vector<std::string> texts;
        cutter_.Feed(received, [&](const std::string& text) { texts.push_back(text); });
        return texts;
    }

    AnswerCutter cutter_;
};

TEST_F(AnswerCutterTest, CutsTextsThatFollowOneAnotherWithNothingBetween) {
    EXPECT_THAT(Feed(R"({"a":{"b":1}}{}{"c":2})"), ElementsAre(R"({"a":{"b":1}})", "{}", R"({"c":2})"));
}

TEST_F(AnswerCutterTest, KeepsATextThatIsNotWholeUntilTheRestComes) {
    EXPECT_THAT(Feed(R"({"a":1}{"b)"), ElementsAre(R"({"a":1})"));
    EXPECT_THAT(Feed("\":"), IsEmpty());
    EXPECT_THAT(Feed(R"({}}{)"), ElementsAre(R"({"b":{}})"));
}

TEST_F(AnswerCutterTest, CutsTheSameByteByByte) {
    std::vector<std::string> texts;
    for (const char character : std::string(R"({"a":"\"}"}{"b":{}})")) {
        for (const std::string& text : Feed({&character, 1})) {
            texts.push_back(text);
        }
    }
    EXPECT_THAT(texts, ElementsAre(R"({"a":"\"}"})", R"({"b":{}})"));
}

TEST_F(AnswerCutterTest, IsNotMisledByBracesAndQuotesInTexts) {
    EXPECT_THAT(Feed(R"({"a":"{}}{\"}\\"}{"b":1})"), ElementsAre(R"({"a":"{}}{\"}\\"})", R"({"b":1})"));
}

TEST_F(AnswerCutterTest, RefusesWhatStandsBetweenTwoTexts) {
    EXPECT_THROW(Feed("{} {}"), std::runtime_error);
}

TEST_F(AnswerCutterTest, RefusesAPacketHeader) {
    EXPECT_THROW(Feed(std::string_view("\x08\x00MUXM{}", 8)), std::runtime_error);
}

}  // namespace
}  // namespace Load
