#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tools/gateway-simulator/LabelledOutput.h"
#include "tools/gateway-simulator/LineWriter.h"
#include "tools/gateway-simulator/RecentLines.h"

namespace Simulator {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

TEST(LineWriterTest, EndsEachLine) {
    std::ostringstream output;
    LineWriter writer(output);
    writer.Write("one");
    writer.Write("two\nthree");
    EXPECT_EQ(output.str(), "one\ntwo\nthree\n");
}

TEST(LineWriterTest, PutsTheTimeInFront) {
    std::ostringstream output;
    LineWriter writer(output);
    writer.WriteTimed("one");
    EXPECT_THAT(output.str(), MatchesRegex("[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} one\n"));
}

TEST(LabelledOutputTest, PutsItsLabelInFrontOfEachLine) {
    std::ostringstream output;
    LineWriter writer(output);
    LabelledOutput labelled(writer, "2: ");
    labelled.Write("one\ntwo");
    labelled.WriteTimed("three");
    EXPECT_THAT(output.str(), MatchesRegex("2: one\n2: two\n2: [0-9:.]{12} three\n"));
}

TEST(RecentLinesTest, KeepsTheLatest) {
    RecentLines lines(3);
    EXPECT_THAT(lines.Lines(), IsEmpty());
    lines.Write("one\ntwo");
    EXPECT_THAT(lines.Lines(), ElementsAre("one", "two"));
    lines.Write("three\nfour");
    EXPECT_THAT(lines.Lines(), ElementsAre("two", "three", "four"));
    lines.Clear();
    EXPECT_THAT(lines.Lines(), IsEmpty());
}

}  // namespace
}  // namespace Simulator
