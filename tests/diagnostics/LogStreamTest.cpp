#include "diagnostics/LogStream.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <poll.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "diagnostics/ProcessEnd.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace Diagnostics {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;

std::string Notice(std::size_t missing) {
    return "missing " + std::to_string(missing) + "\n";
}

// More than a pipe takes at once, so that it can be taken in part.
constexpr std::size_t kLongLine = 5000;

std::string NumberedLine(std::size_t number) {
    const std::string text = "line " + std::to_string(number) + " ";
    return text + std::string(kLongLine - text.size() - 1, 'x') + "\n";
}

// Two connected descriptors, and what was read of them so far.
class Channel {
  public:
    using Maker = int (*)(int*);

    explicit Channel(Maker make = pipe) { EXPECT_EQ(make(ends_.data()), 0); }
    ~Channel() {
        CloseReader();
        close(ends_[1]);
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    int Writer() const { return ends_[1]; }
    void CloseReader() {
        if (ends_[0] != -1) {
            close(ends_[0]);
        }
        ends_[0] = -1;
    }

    // Reads what is there, `most` bytes of it.
    void Read(std::size_t most = 65536) {
        pollfd waited = {ends_[0], POLLIN, 0};
        std::vector<char> bytes(most);
        if (poll(&waited, 1, 1) == 1) {
            const ssize_t count = read(ends_[0], bytes.data(), bytes.size());
            text_.append(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        }
    }
    void ReadAndForget() {
        Read();
        text_.clear();
    }
    bool ReadUntil(const std::string& text) {
        return Testing::WaitUntil([&] {
            Read();
            return text_.find(text) != std::string::npos;
        });
    }
    const std::string& Text() const { return text_; }

    std::vector<std::string> Lines() const {
        std::istringstream text(text_);
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line + "\n");
        }
        return lines;
    }

  private:
    std::array<int, 2> ends_ = {-1, -1};
    std::string text_;
};

// It changes no byte.
int MakeTerminal(int* ends) {
    termios raw = {};
    cfmakeraw(&raw);
    return openpty(&ends[0], &ends[1], nullptr, &raw, nullptr);
}

int MakeSocketPair(int* ends) {
    return socketpair(AF_UNIX, SOCK_STREAM, 0, ends);
}

std::size_t WriteFor(milliseconds time, LogStream& stream) {
    const Clock::time_point end = Clock::now() + time;
    std::size_t lines = 0;
    while (Clock::now() < end) {
        stream.Write(NumberedLine(lines++));
        std::this_thread::sleep_for(milliseconds(2));
    }
    return lines;
}

// Lines in order from the first one on, a notice in the place of the others, and the last one.
void ExpectANoticeInPlaceOfSome(const Channel& channel, std::size_t lines) {
    const std::vector<std::string> read = channel.Lines();
    ASSERT_GT(read.size(), 2U);
    const std::size_t taken = read.size() - 2;
    for (std::size_t index = 0; index < taken; ++index) {
        ASSERT_EQ(read.at(index), NumberedLine(index));
    }
    EXPECT_EQ(read.at(taken), Notice(lines - taken));
    EXPECT_EQ(read.back(), "it goes on\n");
}

using TargetMaker = LineTarget (*)(int);

void WriteToAChannelThatIsNotRead(Channel::Maker make, TargetMaker target) {
    Channel channel(make);
    LogStream stream(target(channel.Writer()), Notice);
    // A second without progress, behind the time that a busy machine takes to fill the channel.
    const std::size_t lines = WriteFor(milliseconds(4000), stream);
    // What is missing is told though no line follows.
    EXPECT_TRUE(channel.ReadUntil("missing ")) << "of " << lines;
    EXPECT_THAT(channel.Text(), HasSubstr(NumberedLine(30))) << "written before a second had passed";
    stream.Write("it goes on\n");
    EXPECT_TRUE(channel.ReadUntil("it goes on\n"));
    ExpectANoticeInPlaceOfSome(channel, lines);
}

// A child that waits for its reader is killed.
void ExpectThatNobodyWaits(Channel::Maker make, TargetMaker target = LineTarget::Console) {
    const Testing::TemporaryFolder folder;
    const auto result = Testing::RunInChild(
        folder.Path(), [&] { WriteToAChannelThatIsNotRead(make, target); }, Testing::ChildOutput::kPipe, seconds(30));
    EXPECT_EQ(result.exitStatus, Testing::kBodyReturned);
    EXPECT_EQ(result.output, "");
}

// As for a terminal or a pipe of another user.
LineTarget ConsoleThatCannotBeOpenedOnceMore(int descriptor) {
    Testing::ResourceLimit nothingMore(RLIMIT_NOFILE);
    EXPECT_TRUE(nothingMore.Set(0));
    LineTarget target = LineTarget::Console(descriptor);
    EXPECT_EQ(target.Descriptor(), descriptor);
    return target;
}

TEST(LogStream, NobodyWaitsForAPipeThatNobodyReads) {
    ExpectThatNobodyWaits(pipe);
}

TEST(LogStream, NobodyWaitsForATerminalThatNobodyReads) {
    ExpectThatNobodyWaits(MakeTerminal);
}

TEST(LogStream, NobodyWaitsForASocketThatNobodyReads) {
    ExpectThatNobodyWaits(MakeSocketPair);
}

TEST(LogStream, NobodyWaitsForAPipeThatCannotBeOpenedOnceMore) {
    ExpectThatNobodyWaits(pipe, ConsoleThatCannotBeOpenedOnceMore);
}

TEST(LogStream, NobodyWaitsForATerminalThatCannotBeOpenedOnceMore) {
    ExpectThatNobodyWaits(MakeTerminal, ConsoleThatCannotBeOpenedOnceMore);
}

// The writer thread finds no memory for the first notice, and the next line brings another one.
TEST(LogStream, ANoticeThatThereIsNoMemoryForIsMadeLater) {
    Channel channel;
    std::atomic<int> notices{0};
    const auto notice = [&](std::size_t missing) { return ++notices == 1 ? throw std::bad_alloc() : Notice(missing); };
    LogStream stream(LineTarget::Console(channel.Writer()), notice);
    const std::size_t lines = WriteFor(milliseconds(4000), stream);
    EXPECT_TRUE(Testing::WaitUntil([&] {
        channel.Read();
        return notices == 1;
    }));
    stream.Write("it goes on\n");
    EXPECT_TRUE(channel.ReadUntil("it goes on\n"));
    ExpectANoticeInPlaceOfSome(channel, lines);
}

TEST(LogStream, OthersThatShareTheDescriptorFindItAsItWas) {
    const Channel channel;
    const LogStream stream(LineTarget::Console(channel.Writer()), Notice);
    EXPECT_EQ(fcntl(channel.Writer(), F_GETFL) & O_NONBLOCK, 0);
}

// It takes more only when a page of 4096 bytes was read, which takes this reader longer than a second.
TEST(LogStream, APipeThatIsReadSlowlyMissesNothing) {
    Channel channel;
    LogStream stream(LineTarget::Console(channel.Writer()), Notice);
    std::size_t lines = 0;
    for (; lines < 20; ++lines) {
        stream.Write(NumberedLine(lines));
    }
    for (const Clock::time_point end = Clock::now() + seconds(4); Clock::now() < end; ++lines) {
        channel.Read(700);
        stream.Write(NumberedLine(lines));
        std::this_thread::sleep_for(milliseconds(300));
    }
    EXPECT_TRUE(channel.ReadUntil(NumberedLine(lines - 1)));
    EXPECT_THAT(channel.Text(), Not(HasSubstr("missing")));
    EXPECT_EQ(channel.Lines().size(), lines);
}

TEST(LogStream, WhatIsFarBehindIsBounded) {
    Channel channel;
    LogStream stream(LineTarget::Console(channel.Writer()), Notice);
    constexpr std::size_t kLines = 1000;
    for (std::size_t line = 0; line < kLines; ++line) {
        stream.Write(NumberedLine(line));
    }
    EXPECT_TRUE(channel.ReadUntil("missing "));
    stream.Write("it goes on\n");
    EXPECT_TRUE(channel.ReadUntil("it goes on\n"));
    ExpectANoticeInPlaceOfSome(channel, kLines);
    EXPECT_LE(channel.Text().size(), 4U * 1024 * 1024 + 65536 + 2 * kLongLine);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
std::size_t ResidentPages() {
    std::ifstream file("/proc/self/statm");
    std::size_t size = 0;
    std::size_t resident = 0;
    file >> size >> resident;
    return resident;
}

// What was allocated last stays in use, so that the allocator would keep what is below it.
TEST(LogStream, TheMemoryOfALongQueueIsGivenBack) {
    constexpr std::size_t kPage = 4096;
    Channel channel;
    LogStream stream(LineTarget::Console(channel.Writer()), Notice);
    malloc_trim(0);
    const std::size_t before = ResidentPages();
    const std::string line = std::string(199, 'x') + "\n";
    for (std::size_t bytes = 0; bytes < 3000000; bytes += line.size()) {
        stream.Write(line);
    }
    const auto last = std::make_unique<std::array<char, 100>>();
    EXPECT_GT(ResidentPages(), before + 2000000 / kPage);
    EXPECT_TRUE(Testing::WaitUntil([&] {
        channel.ReadAndForget();
        return ResidentPages() < before + 1000000 / kPage;
    }));
    EXPECT_NE(last, nullptr);
}
#endif

TEST(LogStream, AnEndingHasItsLinesBehindThoseThatAreMissing) {
    const Testing::TemporaryFolder folder;
    const auto result = Testing::RunInChild(folder.Path(), [] {
        Channel channel;
        LogStream stream(LineTarget::Console(channel.Writer()), Notice);
        WriteFor(milliseconds(1500), stream);
        BeginEnding(0, 60);
        stream.Write("the end\n");
        EXPECT_TRUE(channel.ReadUntil("the end\n"));
        EXPECT_EQ(channel.Lines().back(), "the end\n");
    });
    EXPECT_EQ(result.exitStatus, Testing::kBodyReturned);
    EXPECT_EQ(result.output, "");
}

TEST(LogStream, AFlushLastsUntilAllIsTaken) {
    Channel channel;
    std::thread reader;
    {
        LogStream stream(LineTarget::Console(channel.Writer()), Notice);
        for (std::size_t line = 0; line < 50; ++line) {
            stream.Write(NumberedLine(line));
        }
        reader = std::thread([&channel] { EXPECT_TRUE(channel.ReadUntil(NumberedLine(49))); });
        stream.Flush(Clock::now() + seconds(30));
    }
    reader.join();
    EXPECT_EQ(channel.Lines().size(), 50U);
}

TEST(LogStream, AFlushGivesUpAtItsTimeAndWhenNothingIsTaken) {
    const Channel channel;
    LogStream stream(LineTarget::Console(channel.Writer()), Notice);
    for (std::size_t line = 0; line < 50; ++line) {
        stream.Write(NumberedLine(line));
    }
    const Clock::time_point start = Clock::now();
    stream.Flush(start + milliseconds(300));
    EXPECT_GE(Clock::now() - start, milliseconds(300));
    stream.Flush(start + seconds(60));
    EXPECT_GE(Clock::now() - start, milliseconds(900));
    EXPECT_LE(Clock::now() - start, seconds(30));
}

class NamedPipe : public testing::Test {
  protected:
    NamedPipe() { EXPECT_EQ(mkfifo(path_.c_str(), S_IRUSR | S_IWUSR), 0); }

    // What a reader who comes now reads until this text has come.
    std::string ReadFrom(LogStream& stream, const std::string& last) const {
        const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK);
        stream.Write(last);
        std::string text;
        EXPECT_TRUE(Testing::WaitUntil([&] {
            std::array<char, 4096> bytes = {};
            const ssize_t count = read(reader, bytes.data(), bytes.size());
            text.append(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
            return text.find(last) != std::string::npos;
        })) << last;
        close(reader);
        return text;
    }

    Testing::TemporaryFolder folder_;
    const std::string path_ = (folder_.Path() / "pipe").string();
};

TEST_F(NamedPipe, WithoutAReaderHoldsNobodyUpAndTellsEachReaderWhatIsMissing) {
    LogStream stream(LineTarget::File(path_, -1), Notice);
    stream.Write("first\n");
    EXPECT_EQ(ReadFrom(stream, "second\n"), "first\nsecond\n");
    stream.Write("third\n");
    const Clock::time_point stalled = Clock::now() + milliseconds(1200);
    ASSERT_TRUE(Testing::WaitUntil([&] { return Clock::now() > stalled; }));
    stream.Write("lost\n");
    stream.Write("lost\n");
    EXPECT_EQ(ReadFrom(stream, "fourth\n"), "third\nmissing 2\nfourth\n");
}

bool IsOpenHere(const std::filesystem::path& path) {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::any_of(begin(descriptors), end(descriptors), [&](const auto& descriptor) {
        std::error_code gone;
        return std::filesystem::read_symlink(descriptor, gone) == path;
    });
}

// What a reader has not read is lost together with it.
TEST_F(NamedPipe, BeginsALineAnewForTheReaderThatComesAfterOneThatLeftWithinIt) {
    LogStream stream(LineTarget::File(path_, -1), Notice);
    const int first = open(path_.c_str(), O_RDONLY | O_NONBLOCK);
    const std::string filling = std::string(64512, '-') + "\n";
    stream.Write(filling);
    stream.Write(NumberedLine(1));
    close(first);
    ASSERT_TRUE(Testing::WaitUntil([&] { return !IsOpenHere(path_); }));
    EXPECT_TRUE(ReadFrom(stream, "last\n") == NumberedLine(1) + "last\n");
}

}  // namespace
}  // namespace Diagnostics
