#include "diagnostics/LogOutputs.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Formatters/TxtFormatter.h>
#include <plog/Record.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>

#include "tests/support/ChildProcess.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

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

TEST(LogOutputs, ALineStandsInTheConsoleAndInAFileOnceThereIsOneAsThePlainFormatterGivesIt) {
    const Testing::TemporaryFolder folder;
    const auto result = Testing::RunInChild(folder.Path(), [&folder] {
        LogOutputs outputs(false);
        folder.Write("before", Write(outputs, "before"));
        outputs.AddFile("mux.log", kPlenty, 2);
        std::string both = Write(outputs, "first");
        both += Write(outputs, "second");
        folder.Write("both", both);
    });
    EXPECT_NE(folder.Read("both").find("[Door::Open@17] second\n"), std::string::npos);
    EXPECT_EQ(result.output, folder.Read("before") + folder.Read("both"));
    EXPECT_EQ(folder.Read("mux.log"), "\xEF\xBB\xBF" + folder.Read("both")) << "behind the mark of UTF-8";
}

TEST(LogOutputs, LinesOfSeveralThreadsStayWholeAndAreInOneOrder) {
    const Testing::TemporaryFolder folder;
    const auto result = Testing::RunInChild(folder.Path(), [] {
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
        outputs.Flush(std::chrono::seconds(30));
    });
    const std::string text = folder.Read("mux.log");
    int whole = 0;
    for (const char letter : {'a', 'b'}) {
        const std::string end = "] " + std::string(100, letter) + "\n";
        for (std::size_t found = text.find(end); found != std::string::npos; found = text.find(end, found + 1)) {
            ++whole;
        }
    }
    EXPECT_EQ(whole, 1000);
    EXPECT_TRUE(text == "\xEF\xBB\xBF" + result.output);
}

constexpr std::size_t kSmallest = 1000;

// Writes lines until they are in the file again.
void WriteUntilTheFileHasThem(LogOutputs& outputs, const Testing::TemporaryFolder& folder, const std::string& name) {
    EXPECT_TRUE(Testing::WaitUntil([&] {
        Write(outputs, "it is back");
        return folder.Read(name).find("it is back") != std::string::npos;
    }));
}

// Its reader comes after the line.
TEST(LogOutputs, AFlushWaitsForADeviceToo) {
    const Testing::TemporaryFolder folder;
    const std::string pipe = (folder.Path() / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
    LogOutputs outputs(false);
    outputs.AddDevice(LineTarget::File(pipe, -1));
    const std::string line = Write(outputs, "first");
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    outputs.Flush(std::chrono::seconds(30));
    std::string text(4096, ' ');
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(read(reader, text.data(), text.size()), 0)));
    close(reader);
    EXPECT_EQ(text, line);
}

TEST(LogOutputs, AFileWhoseFolderWasGoneWhenItRolledHasLinesAgain) {
    const Testing::TemporaryFolder folder;
    const std::filesystem::path logs = folder.Path() / "logs";
    for (const std::string name : {"mux.log", "mux"}) {
        std::filesystem::create_directory(logs);
        LogOutputs outputs(false);
        outputs.AddFile((logs / (name == "mux" ? "mux." : name)).string(), kSmallest, 2);
        Write(outputs, "first");
        EXPECT_TRUE(std::filesystem::exists(logs / name));

        std::filesystem::remove_all(logs);
        Write(outputs, std::string(kSmallest, 'a'));
        Write(outputs, "rolls");
        std::filesystem::create_directory(logs);
        Write(outputs, "not yet");
        WriteUntilTheFileHasThem(outputs, folder, "logs/" + name);
        std::filesystem::remove_all(logs);
    }
}

// No descriptor is left when the file is to be opened.
TEST(LogOutputs, AFileThatIsThereButCouldNotBeOpenedHasLinesAgain) {
    const Testing::TemporaryFolder folder;
    LogOutputs outputs(false);
    outputs.AddFile((folder.Path() / "mux.log").string(), kPlenty, 2);
    // Nobody can write into a folder as if it were a file, not even root.
    std::filesystem::create_directory(folder.Path() / "mux.log");
    Write(outputs, "lost");
    std::filesystem::remove(folder.Path() / "mux.log");
    folder.Write("mux.log", "of the run before\n");
    WriteUntilTheFileHasThem(outputs, folder, "mux.log");
    EXPECT_EQ(folder.Read("mux.log").rfind("of the run before\n", 0), 0U);
}

// The space on the disk ends within a line, and there is some again later.
TEST(LogOutputs, ALineThatWasWrittenInPartIsEndedBeforeTheNext) {
    const Testing::TemporaryFolder folder;
    const auto result = Testing::RunInChild(folder.Path(), [&folder] {
        static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
        LogOutputs outputs(false);
        outputs.AddFile("mux.log", kPlenty, 2);
        Write(outputs, "first");
        Testing::ResourceLimit limit(RLIMIT_FSIZE);
        EXPECT_TRUE(limit.Set(static_cast<rlim_t>(std::filesystem::file_size("mux.log") + 10)));
        const auto found = std::chrono::steady_clock::now() + std::chrono::milliseconds(2300);
        while (std::chrono::steady_clock::now() < found) {
            Write(outputs, "on the console only");
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        EXPECT_TRUE(limit.Set(limit.Hard()));
        WriteUntilTheFileHasThem(outputs, folder, "mux.log");
        Write(outputs, "last");
    });
    EXPECT_EQ(result.exitStatus, Testing::kBodyReturned) << result.output;
    EXPECT_THAT(folder.Read("mux.log"), testing::MatchesRegex(".*first\n.{10}\n(.*\\] it is back\n)+.*\\] last\n"));
}

TEST(LogOutputs, AFileThatIsTakenAwayIsMadeAnew) {
    const Testing::TemporaryFolder folder;
    LogOutputs outputs(false);
    outputs.AddFile((folder.Path() / "mux.log").string(), kPlenty, 2);
    Write(outputs, "first");
    std::filesystem::remove(folder.Path() / "mux.log");
    WriteUntilTheFileHasThem(outputs, folder, "mux.log");
}

}  // namespace
}  // namespace Diagnostics
