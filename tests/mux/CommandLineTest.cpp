#include "mux/CommandLine.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Mux {
namespace {

using Words = std::vector<const char*>;

// Parses the words as main gets them, the program's name in front.
CommandLine Parsed(const Words& words, const char* programName = "dw-hal-mux-brenk") {
    Words arguments = {programName};
    arguments.insert(arguments.end(), words.begin(), words.end());
    const int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    return ParseCommandLine(count, arguments.data());
}

// Expects the default of every option.
void ExpectDefaults(const CommandLine& options) {
    EXPECT_EQ(options.action, CommandLineAction::kRun);
    EXPECT_EQ(options.port, 5555);
    EXPECT_EQ(options.configFile, "");
    EXPECT_EQ(options.logFile, "./smartlock_mux.log");
    EXPECT_EQ(options.severity, plog::info);
    EXPECT_EQ(options.tracerCategories, 0);
    EXPECT_FALSE(options.colors);
}

TEST(CommandLine, HasItsDefaultsWithoutArgumentsAndForThoseThatItDoesNotKnow) {
    ExpectDefaults(Parsed({}));
    ExpectDefaults(Parsed({"word", "--unknown", "value", "-x", "--other=3", "--", "-", ""}));
    ExpectDefaults(Parsed({"--configFile", "--logFile"}));
    ExpectDefaults(Parsed({"--help=1", "--verbose=1", "logFile", ""}));
}

TEST(CommandLine, AsksForTheUsageTextWhenThereAreNoArgumentsNotEvenAProgramName) {
    const char* const none[] = {nullptr};
    EXPECT_EQ(ParseCommandLine(0, none).action, CommandLineAction::kShowUsage);
    EXPECT_EQ(ParseCommandLine(-1, none).action, CommandLineAction::kShowUsage);
}

TEST(CommandLine, PrintsTheUsageTextRatherThanTheVersionRatherThanTheNumber) {
    const std::pair<Words, CommandLineAction> rows[] = {
        {{"--help"}, CommandLineAction::kShowUsage},
        {{"-h"}, CommandLineAction::kShowUsage},
        {{"--version", "word"}, CommandLineAction::kShowVersion},
        {{"--ver"}, CommandLineAction::kShowVersionNumber},
        {{"--help", "--version"}, CommandLineAction::kShowUsage},
        {{"--ver", "--version", "-h"}, CommandLineAction::kShowUsage},
        {{"--ver", "--version"}, CommandLineAction::kShowVersion},
        {{"--version", "--ver"}, CommandLineAction::kShowVersion},
        {{"--debug", "word", "--port", "6000", "--help", "more"}, CommandLineAction::kShowUsage},
        {{"--configFile", "--help"}, CommandLineAction::kShowUsage},
    };
    for (const auto& [words, action] : rows) {
        EXPECT_EQ(Parsed(words).action, action) << testing::PrintToString(words);
    }
}

TEST(CommandLine, TakesAPortWhenFlagAndValueAreBothThere) {
    const std::pair<Words, int> rows[] = {
        {{"--port", "6000"}, 5555},
        {{"-p", "6000"}, 5555},
        {{"--port=6000"}, 5555},
        {{"-p=6000"}, 5555},
        {{"--port", "--port="}, 5555},
        {{"--port", "--port=6000"}, 6000},
        {{"--port=6000", "--port"}, 6000},
        {{"-p", "-p=6000"}, 6000},
        {{"-p", "--port=6000"}, 6000},
        {{"--port", "-p=6000"}, 6000},
        {{"--debug", "--port", "7000", "--port=6000"}, 6000},
        {{"-p", "-p=7000", "--port=6000"}, 6000},
        {{"--port", "--port=abc"}, 0},
        {{"--port", "--port=x6000"}, 0},
        {{"--port", "--port=60x"}, 60},
        {{"--port", "--port=-1"}, -1},
        {{"--port", "--port=70000"}, 70000},
        {{"--port", "--port=0"}, 0},
        {{"--port", "--port=99999999999"}, std::numeric_limits<std::int32_t>::max()},
    };
    for (const auto& [words, port] : rows) {
        EXPECT_EQ(Parsed(words).port, port) << testing::PrintToString(words);
    }
}

TEST(CommandLine, TakesFilesAsSeparateWordsAndBehindAnEqualsSign) {
    for (const CommandLine& options : {Parsed({"--configFile", "my a.json", "--logFile", "b=c.log"}),
                                       Parsed({"--configFile=my a.json", "--logFile=b=c.log"})}) {
        EXPECT_EQ(options.configFile, "my a.json");
        EXPECT_EQ(options.logFile, "b=c.log");
    }
}

TEST(CommandLine, TakesEmptyWordsForFilesAndAnywhere) {
    for (const std::string dashes : {"-", "--", "---"}) {
        const std::string configFile = dashes + "configFile";
        const std::string logFile = dashes + "logFile";
        const CommandLine options = Parsed({"", configFile.c_str(), "", "stray", logFile.c_str(), "", "-v"}, "");
        EXPECT_EQ(options.configFile, "") << dashes;
        EXPECT_EQ(options.logFile, "") << dashes;
        EXPECT_EQ(options.severity, plog::verbose) << dashes;
    }
}

TEST(CommandLine, TakesTheSeverityThatShowsMoreAndTheTracerCategoriesOfDebug) {
    constexpr int kOfDebug = 0x0B;
    struct Row {
        Words words;
        plog::Severity severity;
        int tracerCategories;
    };
    for (const Row& row :
         {Row{{"--debug", "word"}, plog::debug, kOfDebug}, Row{{"-dbg"}, plog::debug, kOfDebug},
          Row{{"--verbose"}, plog::verbose, 0}, Row{{"-v", "word"}, plog::verbose, 0},
          Row{{"--debug", "--verbose"}, plog::verbose, kOfDebug}, Row{{"-v", "-dbg"}, plog::verbose, kOfDebug}}) {
        EXPECT_EQ(Parsed(row.words).severity, row.severity) << testing::PrintToString(row.words);
        EXPECT_EQ(Parsed(row.words).tracerCategories, row.tracerCategories) << testing::PrintToString(row.words);
    }
}

TEST(CommandLine, TakesColorsWithTheFlagOrAOne) {
    EXPECT_TRUE(Parsed({"--colors", "0"}).colors);
    EXPECT_TRUE(Parsed({"--colors=1"}).colors);
    for (const char* const word : {"--colors=0", "--colors=yes", "--colors="}) {
        EXPECT_FALSE(Parsed({word}).colors) << word;
    }
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

TEST(UsageText, IsFlushedLineByLine) {
    CountingBuffer buffer;
    std::ostream output(&buffer);
    PrintUsage(output);
    EXPECT_EQ(buffer.flushes, 16);
}

}  // namespace
}  // namespace Mux
