#include "mux/CommandLine.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "mux/Version.h"

namespace Mux {
namespace {

// Parses the words as main gets them, the program's name in front.
CommandLine Parsed(const std::vector<const char*>& words) {
    std::vector<const char*> arguments = {"dw-hal-mux-brenk"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    const int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    return ParseCommandLine(count, arguments.data());
}

CommandLineAction ActionOf(const std::vector<const char*>& words) {
    return Parsed(words).action;
}

int PortOf(const std::vector<const char*>& words) {
    return Parsed(words).port;
}

std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Counts how often it is flushed.
class CountingBuffer : public std::stringbuf {
  public:
    int flushes = 0;

  protected:
    int sync() override {
        ++flushes;
        return std::stringbuf::sync();
    }
};

TEST(CommandLine, HasItsDefaultsWithoutArguments) {
    const CommandLine options = Parsed({});
    EXPECT_EQ(options.action, CommandLineAction::kRun);
    EXPECT_EQ(options.port, 5555);
    EXPECT_EQ(options.configFile, "");
    EXPECT_EQ(options.logFile, "./smartlock_mux.log");
    EXPECT_EQ(options.severity, plog::info);
    EXPECT_EQ(options.tracerCategories, 0);
    EXPECT_FALSE(options.colors);
}

TEST(CommandLine, AsksForTheUsageTextWhenThereAreNoArgumentsNotEvenAProgramName) {
    const char* const none[] = {nullptr};
    EXPECT_EQ(ParseCommandLine(0, none).action, CommandLineAction::kShowUsage);
    EXPECT_EQ(ParseCommandLine(-1, none).action, CommandLineAction::kShowUsage);
}

TEST(CommandLine, KnowsHelpByBothNames) {
    EXPECT_EQ(ActionOf({"--help"}), CommandLineAction::kShowUsage);
    EXPECT_EQ(ActionOf({"-h"}), CommandLineAction::kShowUsage);
}

TEST(CommandLine, KnowsTheTwoVersionOptions) {
    EXPECT_EQ(ActionOf({"--version"}), CommandLineAction::kShowVersion);
    EXPECT_EQ(ActionOf({"--ver"}), CommandLineAction::kShowVersionNumber);
}

TEST(CommandLine, HelpAndVersionTogetherPrintOnlyTheUsageText) {
    EXPECT_EQ(ActionOf({"--help", "--version"}), CommandLineAction::kShowUsage);
    EXPECT_EQ(ActionOf({"--version", "--help"}), CommandLineAction::kShowUsage);
    EXPECT_EQ(ActionOf({"--ver", "--version", "-h"}), CommandLineAction::kShowUsage);
}

TEST(CommandLine, VersionComesBeforeVerWhateverTheirOrder) {
    EXPECT_EQ(ActionOf({"--ver", "--version"}), CommandLineAction::kShowVersion);
    EXPECT_EQ(ActionOf({"--version", "--ver"}), CommandLineAction::kShowVersion);
}

TEST(CommandLine, HelpIsFoundBehindOtherOptionsAndPositionalArguments) {
    EXPECT_EQ(ActionOf({"--debug", "word", "--port", "6000", "--help", "more"}), CommandLineAction::kShowUsage);
}

TEST(CommandLine, AnOptionWithAValueIsNoFlag) {
    EXPECT_EQ(ActionOf({"--help=1"}), CommandLineAction::kRun);
    EXPECT_EQ(Parsed({"--verbose=1"}).severity, plog::info);
}

TEST(CommandLine, AHelpFlagThatIsTheValueOfAnotherOptionStaysAFlag) {
    EXPECT_EQ(ActionOf({"--configFile", "--help"}), CommandLineAction::kShowUsage);
}

TEST(CommandLinePort, StaysAt5555WithThePortAsASeparateWord) {
    EXPECT_EQ(PortOf({"--port", "6000"}), 5555);
    EXPECT_EQ(PortOf({"-p", "6000"}), 5555);
}

TEST(CommandLinePort, StaysAt5555WithTheValueAlone) {
    EXPECT_EQ(PortOf({"--port=6000"}), 5555);
    EXPECT_EQ(PortOf({"-p=6000"}), 5555);
}

TEST(CommandLinePort, IsTakenWhenFlagAndValueAreBothThere) {
    EXPECT_EQ(PortOf({"--port", "--port=6000"}), 6000);
    EXPECT_EQ(PortOf({"--port=6000", "--port"}), 6000);
    EXPECT_EQ(PortOf({"-p", "-p=6000"}), 6000);
    EXPECT_EQ(PortOf({"-p", "--port=6000"}), 6000);
    EXPECT_EQ(PortOf({"--port", "-p=6000"}), 6000);
    EXPECT_EQ(PortOf({"--debug", "--port", "7000", "--port=6000"}), 6000);
}

TEST(CommandLinePort, PrefersTheValueOfTheLongName) {
    EXPECT_EQ(PortOf({"-p", "-p=7000", "--port=6000"}), 6000);
}

TEST(CommandLinePort, IsZeroWhenTheTextDoesNotStartWithADigit) {
    EXPECT_EQ(PortOf({"--port", "--port=abc"}), 0);
    EXPECT_EQ(PortOf({"--port", "--port=x6000"}), 0);
}

TEST(CommandLinePort, IsTheNumberThatTheTextStartsWith) {
    EXPECT_EQ(PortOf({"--port", "--port=60x"}), 60);
    EXPECT_EQ(PortOf({"--port", "--port=-1"}), -1);
    EXPECT_EQ(PortOf({"--port", "--port=70000"}), 70000);
    EXPECT_EQ(PortOf({"--port", "--port=0"}), 0);
}

TEST(CommandLinePort, IsTheLargestIntegerWhenTheNumberIsLarger) {
    EXPECT_EQ(PortOf({"--port", "--port=99999999999"}), std::numeric_limits<std::int32_t>::max());
}

TEST(CommandLinePort, StaysAt5555WhenTheValueIsEmpty) {
    EXPECT_EQ(PortOf({"--port", "--port="}), 5555);
}

TEST(CommandLineFiles, AreTakenAsSeparateWordsAndBehindAnEqualsSign) {
    const CommandLine separate = Parsed({"--configFile", "a.json", "--logFile", "b.log"});
    EXPECT_EQ(separate.configFile, "a.json");
    EXPECT_EQ(separate.logFile, "b.log");
    const CommandLine joined = Parsed({"--configFile=a.json", "--logFile=b.log"});
    EXPECT_EQ(joined.configFile, "a.json");
    EXPECT_EQ(joined.logFile, "b.log");
}

TEST(CommandLineFiles, KeepTheirBlanksAndEqualsSigns) {
    EXPECT_EQ(Parsed({"--configFile", "my gateways.json"}).configFile, "my gateways.json");
    EXPECT_EQ(Parsed({"--configFile=a=b.json"}).configFile, "a=b.json");
}

TEST(CommandLineFiles, HaveTheirDefaultsWhenNoValueFollows) {
    const CommandLine options = Parsed({"--configFile", "--logFile"});
    EXPECT_EQ(options.configFile, "");
    EXPECT_EQ(options.logFile, "./smartlock_mux.log");
}

TEST(CommandLineFiles, MayBeEmptyWords) {
    for (const std::string dashes : {"-", "--", "---"}) {
        const std::string configFile = dashes + "configFile";
        const std::string logFile = dashes + "logFile";
        const CommandLine options = Parsed({configFile.c_str(), "", "stray", logFile.c_str(), ""});
        EXPECT_EQ(options.configFile, "") << dashes;
        EXPECT_EQ(options.logFile, "") << dashes;
    }
    EXPECT_EQ(Parsed({"logFile", ""}).logFile, "./smartlock_mux.log");
}

TEST(CommandLineSeverity, IsDebugWithTheTracerCategoriesOnDebug) {
    for (const char* const option : {"--debug", "-dbg"}) {
        const CommandLine options = Parsed({option});
        EXPECT_EQ(options.severity, plog::debug) << option;
        EXPECT_EQ(options.tracerCategories, 0x0B) << option;
    }
}

TEST(CommandLineSeverity, IsVerboseWithoutTracerCategoriesOnVerbose) {
    for (const char* const option : {"--verbose", "-v"}) {
        const CommandLine options = Parsed({option});
        EXPECT_EQ(options.severity, plog::verbose) << option;
        EXPECT_EQ(options.tracerCategories, 0) << option;
    }
}

TEST(CommandLineSeverity, IsVerboseOnDebugAndVerboseTogetherAndTheTracerCategoriesStay) {
    for (const CommandLine& options : {Parsed({"--debug", "--verbose"}), Parsed({"-v", "-dbg"})}) {
        EXPECT_EQ(options.severity, plog::verbose);
        EXPECT_EQ(options.tracerCategories, 0x0B);
    }
}

TEST(CommandLineColors, AreOnWithTheFlagAndWithAOne) {
    EXPECT_TRUE(Parsed({"--colors"}).colors);
    EXPECT_TRUE(Parsed({"--colors=1"}).colors);
}

TEST(CommandLine, AWordBehindAFlagIsNoValueOfIt) {
    EXPECT_EQ(Parsed({"--debug", "word"}).severity, plog::debug);
    EXPECT_EQ(Parsed({"-v", "word"}).severity, plog::verbose);
    EXPECT_TRUE(Parsed({"--colors", "0"}).colors);
    EXPECT_EQ(ActionOf({"--version", "word"}), CommandLineAction::kShowVersion);
}

TEST(CommandLineColors, AreOffWithAnyOtherValue) {
    EXPECT_FALSE(Parsed({"--colors=0"}).colors);
    EXPECT_FALSE(Parsed({"--colors=yes"}).colors);
    EXPECT_FALSE(Parsed({"--colors="}).colors);
}

TEST(CommandLine, IgnoresUnknownOptionsAndPositionalArguments) {
    const CommandLine options = Parsed({"word", "--unknown", "value", "-x", "--other=3", "--", "-", ""});
    EXPECT_EQ(options.action, CommandLineAction::kRun);
    EXPECT_EQ(options.port, 5555);
    EXPECT_EQ(options.configFile, "");
    EXPECT_EQ(options.logFile, "./smartlock_mux.log");
    EXPECT_EQ(options.severity, plog::info);
    EXPECT_FALSE(options.colors);
}

TEST(CommandLine, TakesEmptyWordsAnywhere) {
    const CommandLine options = Parsed({"", "--debug", "", "--configFile=a.json", ""});
    EXPECT_EQ(options.severity, plog::debug);
    EXPECT_EQ(options.configFile, "a.json");
}

TEST(CommandLine, ANameOfTheProgramThatIsEmptyCountsForNothing) {
    const char* const words[] = {"", "--port", "--port=6000", "-dbg", nullptr};
    const CommandLine options = ParseCommandLine(4, words);
    EXPECT_EQ(options.action, CommandLineAction::kRun);
    EXPECT_EQ(options.port, 6000);
    EXPECT_EQ(options.severity, plog::debug);
}

TEST(UsageText, IsByteForByteTheOneThatWasWrittenDown) {
    std::ostringstream printed;
    PrintUsage(printed);
    const std::string expected = ContentOf(MUX_TEST_FOLDER "/UsageText.txt");
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(printed.str(), expected);
}

TEST(UsageText, IsFlushedLineByLine) {
    CountingBuffer buffer;
    std::ostream output(&buffer);
    PrintUsage(output);
    EXPECT_EQ(buffer.flushes, 16);
}

TEST(Version, IsTheOneThatTheProgramPrints) {
    EXPECT_STREQ(kVersion, "2.18.1");
    EXPECT_STREQ(kNameAndVersion, "Brenk MUX version 2.18.1");
}

}  // namespace
}  // namespace Mux
