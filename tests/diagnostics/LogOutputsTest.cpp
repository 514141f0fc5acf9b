#include "diagnostics/LogOutputs.h"

#include <gtest/gtest.h>
#include <plog/Formatters/TxtFormatter.h>
#include <plog/Record.h>

#include <cstdio>
#include <ctime>
#include <iostream>
#include <string>
#include <thread>

#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

namespace Diagnostics {
namespace {

constexpr std::size_t kPlenty = 1000000;

// Writes a line with this text and returns how it must look.
std::string Write(LogOutputs& outputs, const std::string& text) {
    plog::Record record(plog::warning, "void Door::Open()", 17, "", nullptr, 0);
    record << text;
    outputs.write(record);
    return plog::TxtFormatter::format(record);
}

TEST(LogOutputs, ALineStandsInFileAndConsoleAsThePlainFormatterGivesIt) {
    const Testing::TemporaryDirectory directory;
    const auto result = Testing::RunInChild(directory.Path(), [] {
        LogOutputs outputs(false);
        outputs.AddFile("mux.log", kPlenty, 2);
        std::string expected = Write(outputs, "first");
        expected += Write(outputs, "second");
        std::FILE* const file = std::fopen("expected", "w");
        static_cast<void>(std::fputs(expected.c_str(), file));
        static_cast<void>(std::fclose(file));
    });
    EXPECT_NE(directory.Read("expected").find("[Door::Open@17] second\n"), std::string::npos);
    EXPECT_EQ(result.output, directory.Read("expected"));
    EXPECT_EQ(directory.Read("mux.log"), "\xEF\xBB\xBF" + directory.Read("expected")) << "behind the mark of UTF-8";
}

// A record of some other moment and severity.
class RecordOfThen : public plog::Record {
  public:
    RecordOfThen(plog::Severity severity, std::time_t seconds, unsigned short milliseconds)
        : Record(severity, "Door::Open", 4, "", nullptr, 0) {
        time_.time = seconds;
        time_.millitm = milliseconds;
    }
    const plog::util::Time& getTime() const override { return time_; }

  private:
    plog::util::Time time_ = {};
};

TEST(LogOutputs, EveryMomentAndSeverityLooksAsThePlainFormatterHasIt) {
    const Testing::TemporaryDirectory directory;
    const auto result = Testing::RunInChild(directory.Path(), [] {
        LogOutputs outputs(false);
        std::string expected;
        for (const plog::Severity severity : {plog::none, plog::fatal, plog::error, plog::info, plog::verbose}) {
            for (const std::time_t seconds : {0L, 951782399L, 1700000000L, 253402300800L}) {
                for (const int milliseconds : {0, 7, 45, 999}) {
                    const RecordOfThen record(severity, seconds, static_cast<unsigned short>(milliseconds));
                    outputs.write(record);
                    expected += plog::TxtFormatter::format(record);
                }
            }
        }
        std::FILE* const file = std::fopen("expected", "w");
        static_cast<void>(std::fputs(expected.c_str(), file));
        static_cast<void>(std::fclose(file));
    });
    EXPECT_EQ(result.OutputLines().size(), 80U);
    EXPECT_EQ(result.output, directory.Read("expected"));
}

TEST(LogOutputs, WithoutAFileThereIsTheConsole) {
    const Testing::TemporaryDirectory directory;
    const auto result = Testing::RunInChild(directory.Path(), [] {
        LogOutputs outputs(false);
        Write(outputs, "only");
    });
    ASSERT_EQ(result.OutputLines().size(), 1U);
    EXPECT_TRUE(result.HasInOrder({"[Door::Open@17] only"}));
}

TEST(LogOutputs, LinesOfSeveralThreadsStayWhole) {
    const Testing::TemporaryDirectory directory;
    Testing::RunInChild(directory.Path(), [] {
        LogOutputs outputs(false);
        outputs.AddFile("mux.log", kPlenty, 2);
        const auto writeMany = [&outputs](char letter) {
            for (int count = 0; count < 500; ++count) {
                Write(outputs, std::string(100, letter));
            }
        };
        std::thread other(writeMany, 'a');
        writeMany('b');
        other.join();
    });
    const std::string text = directory.Read("mux.log");
    int whole = 0;
    for (const char letter : {'a', 'b'}) {
        const std::string end = "] " + std::string(100, letter) + "\n";
        for (std::size_t found = text.find(end); found != std::string::npos; found = text.find(end, found + 1)) {
            ++whole;
        }
    }
    EXPECT_EQ(whole, 1000);
}

}  // namespace
}  // namespace Diagnostics
