#include "diagnostics/InitDiagnostics.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Init.h>
#include <poll.h>
#include <pty.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "diagnostics/ErrorGuard.h"
#include "diagnostics/Log.h"
#include "diagnostics/ProcessEnd.h"
#include "diagnostics/Tracer.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace Diagnostics {
namespace {

using testing::AllOf;
using Testing::ChildOutput;
using Testing::ChildResult;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr std::size_t kRollingBytes = 10000;

// A process has one logger, so each test sets it up in a process of its own.
class InitDiagnosticsTest : public testing::Test {
  protected:
    ChildResult Run(const std::function<void()>& body, ChildOutput output = ChildOutput::kPipe) const {
        ChildResult result = Testing::RunInChild(directory_.Path(), body, output);
        EXPECT_EQ(result.exitStatus, Testing::kBodyReturned) << result.output;
        return result;
    }

    Testing::TemporaryFolder directory_;
};

TEST_F(InitDiagnosticsTest, FileAndConsoleGetTheSameTwoLinesAtInfo) {
    const ChildResult result = Run([] { InitDiagnostics(plog::info, "mux.log", false); });
    const auto lines = result.OutputLines();
    ASSERT_EQ(lines.size(), 2U) << result.output;
    const std::string prefix =
        "^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} INFO  \\[[0-9]+\\] .*";
    EXPECT_THAT(lines.at(0), AllOf(ContainsRegex(prefix), EndsWith("Logging initialized.")));
    EXPECT_THAT(lines.at(1), AllOf(ContainsRegex(prefix), EndsWith("Error guard initialized.")));
    EXPECT_EQ(directory_.Read("mux.log"), "\xEF\xBB\xBF" + result.output);  // the file begins as UTF-8 files may
}

std::string UtcText(std::time_t time) {
    std::tm parts = {};
    gmtime_r(&time, &parts);
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts)};
}

TEST_F(InitDiagnosticsTest, ALineBeginsWithTheLocalTimeInFileAndConsole) {
    constexpr std::time_t kOffset = 14L * 60 * 60;
    const std::string from = UtcText(std::time(nullptr) + kOffset);
    const ChildResult result = Run([] {
        setenv("TZ", "XST-14", 1);
        tzset();
        InitDiagnostics(plog::info, "mux.log", false);
    });
    // Lines have the exact time; std::time may lag behind it by a tick of the kernel's, into the second before.
    const auto now = std::chrono::system_clock::now();
    const std::string until = UtcText(std::chrono::system_clock::to_time_t(now) + kOffset);
    constexpr std::size_t kByteOrderMark = 3;
    for (const std::string& line : {result.output, directory_.Read("mux.log").substr(kByteOrderMark)}) {
        EXPECT_GE(line.substr(0, from.size()), from);
        EXPECT_LE(line.substr(0, until.size()), until);
    }
}

TEST_F(InitDiagnosticsTest, AnExistingLogFileIsContinuedAndTheConsoleIsColoredAtATerminalWhenWanted) {
    std::ofstream(directory_.Path() / "mux.log") << "from the last run\n";
    const ChildResult result = Run([] { InitDiagnostics(plog::info, "mux.log", true); }, ChildOutput::kTerminal);
    EXPECT_THAT(directory_.Read("mux.log"), ContainsRegex("^from the last run\n.*Logging initialized"));
    EXPECT_THAT(directory_.Read("mux.log"), Not(HasSubstr("\x1B")));
    EXPECT_THAT(result.output, ContainsRegex("Logging initialized\\.\r\n\x1B\\[0m"));
}

class InitDiagnosticsSeverityTest : public InitDiagnosticsTest, public testing::WithParamInterface<plog::Severity> {};

TEST_P(InitDiagnosticsSeverityTest, LinesUpToTheMaximumSeverityAreLoggedAndNoOthers) {
    const plog::Severity maximum = GetParam();
    const ChildResult result = Run([maximum] {
        InitDiagnostics(maximum, "mux.log", false);
        for (int severity = plog::fatal; severity <= plog::verbose; ++severity) {
            MUX_LOG(static_cast<plog::Severity>(severity)) << "severity " << severity << ".";
        }
    });
    for (int severity = plog::fatal; severity <= plog::verbose; ++severity) {
        const std::string text = "severity " + std::to_string(severity) + ".\n";
        EXPECT_EQ(result.output.find(text) != std::string::npos, severity <= maximum) << text;
        EXPECT_EQ(directory_.Read("mux.log").find(text) != std::string::npos, severity <= maximum) << text;
    }
}

INSTANTIATE_TEST_SUITE_P(Severities, InitDiagnosticsSeverityTest,
                         testing::Values(plog::none, plog::fatal, plog::error, plog::warning, plog::info, plog::debug,
                                         plog::verbose),
                         [](const auto& tested) { return std::string(plog::severityToString(tested.param)); });

// Whole lines of one file, oldest first.
std::vector<std::string> LinesOf(const std::string& content) {
    return ChildResult{0, content}.OutputLines();
}

// One place in the code, so that two lines differ in their texts only.
void LogText(std::size_t length) {
    MUX_LOG(plog::info) << std::string(length, 'x');
}

// Fills the log file up to exactly this size.
void FillLogFile(std::size_t size) {
    const auto before = static_cast<std::size_t>(std::filesystem::file_size("mux.log"));
    LogText(0);
    const auto now = static_cast<std::size_t>(std::filesystem::file_size("mux.log"));
    LogText(size - now - (now - before));
}

// Runs a process that logs one more line when its file has this size.
void LogOneMoreAt(std::size_t size, const std::filesystem::path& directory) {
    const ChildResult result = Testing::RunInChild(directory, [size] {
        InitDiagnostics(plog::info, "mux.log", false);
        FillLogFile(size);
        MUX_LOG(plog::info) << "one more";
    });
    EXPECT_EQ(result.exitStatus, Testing::kBodyReturned) << result.output;
}

TEST_F(InitDiagnosticsTest, AFileOf10000BytesTakesOneMoreLine) {
    LogOneMoreAt(kRollingBytes, directory_.Path());
    const std::string content = directory_.Read("mux.log");
    EXPECT_EQ(content.rfind('\n', content.size() - 2) + 1, kRollingBytes);
    EXPECT_THAT(content, EndsWith(" one more\n"));
    EXPECT_FALSE(std::filesystem::exists(directory_.Path() / "mux.1.log"));
}

TEST_F(InitDiagnosticsTest, AFileOf10001BytesTakesNone) {
    LogOneMoreAt(kRollingBytes + 1, directory_.Path());
    EXPECT_EQ(directory_.Read("mux.1.log").size(), kRollingBytes + 1);
    EXPECT_EQ(LinesOf(directory_.Read("mux.log")).size(), 1U);
    EXPECT_THAT(directory_.Read("mux.log"), EndsWith(" one more\n"));
}

class ExtensionlessLogFileTest : public InitDiagnosticsTest, public testing::WithParamInterface<const char*> {};

TEST_P(ExtensionlessLogFileTest, RollsToo) {
    const std::string name = GetParam();
    std::filesystem::create_directory(directory_.Path() / "logs.d");
    Run([&] {
        InitDiagnostics(plog::info, name, false);
        for (int line = 0; line < 100; ++line) {
            MUX_LOG(plog::info) << "line " << line;
        }
    });
    EXPECT_GT(directory_.Read(name + ".1").size(), kRollingBytes);
    EXPECT_THAT(directory_.Read(name), HasSubstr("line 99\n"));
}

INSTANTIATE_TEST_SUITE_P(Names, ExtensionlessLogFileTest, testing::Values("muxlog", "./muxlog", "logs.d/muxlog"));

std::ptrdiff_t NumberOfFiles(const std::filesystem::path& directory) {
    const std::filesystem::directory_iterator files(directory);
    return std::distance(begin(files), end(files));
}

TEST_F(InitDiagnosticsTest, TheRolledFilesDoNotFillTheDisk) {
    Run([] {
        InitDiagnostics(plog::info, "mux.log", false);
        const std::string text(1000, 'x');
        for (int line = 0; line < 200; ++line) {
            MUX_LOG(plog::info) << text;
        }
    });
    EXPECT_EQ(NumberOfFiles(directory_.Path()), 10);
}

TEST_F(InitDiagnosticsTest, ADirectoryInPlaceOfTheLogFileIsAConsoleWarningToo) {
    const ChildResult result = Run([] { InitDiagnostics(plog::info, ".", false); });
    EXPECT_THAT(result.output, ContainsRegex(" WARN  .* Cannot open log file \\.: Is a directory"));
}

void LogALineUntilTheFileWouldHaveRolled() {
    const std::string text(1000, 'x');
    for (std::size_t bytes = 0; bytes < 2 * kRollingBytes; bytes += text.size()) {
        MUX_LOG(plog::info) << text;
    }
}

TEST_F(InitDiagnosticsTest, ALinkInPlaceOfTheLogFileStaysAndItsTargetRolls) {
    std::filesystem::create_directory(directory_.Path() / "elsewhere");
    for (const std::string target : {"elsewhere/mux.log", "elsewhere/new"}) {
        std::filesystem::create_symlink(target, directory_.Path() / "link.log");
        Run([] {
            InitDiagnostics(plog::info, "link.log", false);
            LogALineUntilTheFileWouldHaveRolled();
        });
        EXPECT_EQ(std::filesystem::read_symlink(directory_.Path() / "link.log"), target);
        EXPECT_EQ(NumberOfFiles(directory_.Path()), 2) << "the link and the folder";
        std::filesystem::remove(directory_.Path() / "link.log");
    }
    EXPECT_GT(directory_.Read("elsewhere/mux.1.log").size(), kRollingBytes);
    EXPECT_GT(directory_.Read("elsewhere/new.1").size(), kRollingBytes);
}

// Only devices of the test's own, because whoever renames one may be root.
TEST_F(InitDiagnosticsTest, ADeviceInPlaceOfTheLogFileIsNeverRenamed) {
    const std::string device = (directory_.Path() / "device.log").string();
    if (mknod(device.c_str(), S_IFCHR | S_IRUSR | S_IWUSR, makedev(1, 3)) != 0) {  // as /dev/null
        GTEST_SKIP() << "no device can be made";
    }
    std::filesystem::create_symlink("device.log", directory_.Path() / "link.log");
    for (const std::string name : {"device.log", "link.log"}) {
        const ChildResult result = Run([&name] {
            InitDiagnostics(plog::info, name, false);
            LogALineUntilTheFileWouldHaveRolled();
        });
        EXPECT_THAT(result.output, Not(HasSubstr("Cannot open log file")));
        EXPECT_TRUE(std::filesystem::is_character_file(device)) << name;
        EXPECT_TRUE(std::filesystem::is_symlink(directory_.Path() / "link.log")) << name;
        EXPECT_EQ(NumberOfFiles(directory_.Path()), 2) << name;
    }
}

// What can be read without waiting.
std::string AvailableFrom(int descriptor) {
    pollfd waited = {descriptor, POLLIN, 0};
    std::array<char, 4096> piece = {};
    const bool hasSome = poll(&waited, 1, 0) == 1 && (waited.revents & POLLIN) != 0;
    const ssize_t count = hasSome ? read(descriptor, piece.data(), piece.size()) : 0;
    return {piece.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

// The terminal is at the end of a link.
TEST_F(InitDiagnosticsTest, ATerminalInPlaceOfTheLogFileGetsTheLinesWithControlsShown) {
    std::array<int, 2> ends = {};
    std::array<char, 128> name = {};
    ASSERT_EQ(openpty(&ends[0], &ends[1], name.data(), nullptr, nullptr), 0);
    std::filesystem::create_symlink(name.data(), directory_.Path() / "link.log");
    Run([] {
        InitDiagnostics(plog::info, "link.log", false);
        MUX_LOG(plog::info) << "clear \x1B[2J";
        LogALineUntilTheFileWouldHaveRolled();
    });
    // The kernel passes on piece by piece what was written to a terminal.
    std::string text;
    EXPECT_TRUE(Testing::WaitUntil([&] {
        text += AvailableFrom(ends[0]);
        return text.find("clear \\x1B[2J\r\n") != std::string::npos;
    })) << text;
    close(ends[0]);
    close(ends[1]);
    EXPECT_THAT(text, ContainsRegex("Logging initialized\\.\r\n"));
    EXPECT_EQ(NumberOfFiles(directory_.Path()), 1);
}

// One that is closed and opened again in between loses a reader that takes the end of the file for the end.
TEST_F(InitDiagnosticsTest, ANamedPipeInPlaceOfTheLogFileIsOpenedOnceGetsTheLinesAndIsNeverRenamed) {
    const std::string pipe = (directory_.Path() / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    const int watch = inotify_init1(IN_NONBLOCK);
    ASSERT_NE(inotify_add_watch(watch, pipe.c_str(), IN_CLOSE_WRITE), -1);
    const ChildResult result = Run([watch] {
        InitDiagnostics(plog::info, "pipe", false);
        LogALineUntilTheFileWouldHaveRolled();
        inotify_event closing = {};
        EXPECT_EQ(read(watch, &closing, sizeof(closing)), -1) << "it was closed";
    });
    std::string text(65536, ' ');
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(read(reader, text.data(), text.size()), 0)));
    close(reader);
    close(watch);
    EXPECT_EQ(text, result.output);
    EXPECT_GT(text.size(), 2 * kRollingBytes);
    EXPECT_EQ(NumberOfFiles(directory_.Path()), 1);
}

TEST_F(InitDiagnosticsTest, TheTracerGetsTheSameWishForColors) {
    const ChildResult result = Run(
        [] {
            InitDiagnostics(plog::none, "mux.log", true);
            Tracer::Enable(Tracer::kDebugCategories);
            Tracer::WriteLine("red", Tracer::Level::kError);
        },
        ChildOutput::kTerminal);
    EXPECT_EQ(result.output, "\x1B[31mred\x1B[0m\r\n");
}

// Standard output is a pipe that nobody reads.
TEST_F(InitDiagnosticsTest, NobodyWaitsForTheReaderOfTheTracersLinesEither) {
    Run([] {
        std::array<int, 2> ends = {};
        ASSERT_EQ(pipe(ends.data()), 0);
        ASSERT_EQ(dup2(ends[1], STDOUT_FILENO), STDOUT_FILENO);
        InitDiagnostics(plog::info, "mux.log", false);
        Tracer::Enable(Tracer::kDebugCategories);
        for (int line = 0; line < 200; ++line) {
            Tracer::WriteLine(std::string(1000, 'x'), Tracer::Level::kInformation);
        }
    });
}

// Tells for each line whether the error guard was set up by then.
class GuardWatchingAppender : public plog::IAppender {
  public:
    void write(const plog::Record& record) override {
        const bool isSetUp = ErrorGuard::Instance().CurrentConfiguration().firstHandler != nullptr;
        std::printf("%s %s\n", isSetUp ? "after:" : "before:", record.getMessage());
    }
};

TEST_F(InitDiagnosticsTest, TheErrorGuardIsSetUpBetweenTheTwoLines) {
    const ChildResult result = Run([] {
        plog::init(plog::info, new GuardWatchingAppender);
        InitDiagnostics(plog::info, "mux.log", false);
    });
    EXPECT_THAT(result.output, ContainsRegex("before: [^\n]*Logging initialized\\.\n"));
    EXPECT_THAT(result.output, ContainsRegex("after: [^\n]*Error guard initialized\\.\n"));
}

TEST_F(InitDiagnosticsTest, TheErrorGuardGetsItsLimitsAndHandlersAndNoObserver) {
    const ChildResult result = Run([] {
        InitDiagnostics(plog::none, "mux.log", false);
        const ErrorGuard::Configuration configuration = ErrorGuard::Instance().CurrentConfiguration();
        EXPECT_EQ(configuration.firstLimit, 750U);
        EXPECT_EQ(configuration.secondLimit, 5000U);
        EXPECT_EQ(configuration.firstHandler, &CriticalErrorThresholdReached);
        EXPECT_EQ(configuration.secondHandler, &ErrorThresholdReached);
        EXPECT_EQ(configuration.observer, nullptr);
        EXPECT_EQ(ErrorGuard::Instance().FirstCounter(), 0U);
        EXPECT_EQ(ErrorGuard::Instance().SecondCounter(), 0U);
    });
    EXPECT_EQ(result.output, "");  // failed expectations would stand here
}

}  // namespace
}  // namespace Diagnostics
