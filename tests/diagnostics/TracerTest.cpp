#include "diagnostics/Tracer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <thread>

#include "tests/support/ChildProcess.h"

namespace Diagnostics {
namespace {

using Level = Tracer::Level;
using Testing::ChildOutput;
using Testing::ChildResult;
using testing::Each;
using testing::SizeIs;

void WriteAllLevels() {
    Tracer::WriteLine("information", Level::kInformation);
    Tracer::WriteLine("warning", Level::kWarning);
    Tracer::WriteLine("detail", Level::kDetail);
    Tracer::WriteLine("error", Level::kError);
}

ChildResult Trace(const std::function<void()>& body, ChildOutput output = ChildOutput::kPipe) {
    ChildResult result = Testing::RunInChild(".", body, output);
    EXPECT_EQ(result.exitStatus, Testing::kBodyReturned) << result.output;
    return result;
}

TEST(Tracer, TheDebugCategoriesShowAllButTheDetailsAndAtStartNothingIsShown) {
    const ChildResult result = Trace([] {
        WriteAllLevels();
        Tracer::Enable(Tracer::kDebugCategories);
        WriteAllLevels();
    });
    EXPECT_EQ(result.output, "information\nwarning\nerror\n");
}

TEST(Tracer, EnablingACategoryKeepsTheOthers) {
    const ChildResult result = Trace([] {
        Tracer::Enable(0x04);
        Tracer::Enable(0x08);
        EXPECT_EQ(Tracer::Categories(), 0x0C);
        WriteAllLevels();
    });
    EXPECT_EQ(result.output, "detail\nerror\n");
}

TEST(Tracer, EachLevelHasItsColorAtATerminalWhenThatIsWanted) {
    const auto traced = [](ChildOutput output, bool isWanted) {
        const auto body = [isWanted] {
            Tracer::Enable(0xFF);
            Tracer::UseColors(isWanted);
            WriteAllLevels();
        };
        return Trace(body, output).output;
    };
    EXPECT_EQ(
        traced(ChildOutput::kTerminal, true),
        "\x1B[32minformation\x1B[0m\r\n\x1B[33mwarning\x1B[0m\r\n\x1B[90mdetail\x1B[0m\r\n\x1B[31merror\x1B[0m\r\n");
    EXPECT_EQ(traced(ChildOutput::kTerminal, false), "information\r\nwarning\r\ndetail\r\nerror\r\n");
    EXPECT_EQ(traced(ChildOutput::kPipe, true), "information\nwarning\ndetail\nerror\n");
}

TEST(Tracer, LinesOfDifferentThreadsDoNotMix) {
    constexpr std::size_t kLines = 200;
    const std::string text(100, 'x');
    const ChildResult result = Trace([&] {
        Tracer::Enable(0xFF);
        const auto write = [&] {
            for (std::size_t line = 0; line < kLines; ++line) {
                Tracer::WriteLine(text, Level::kError);
            }
        };
        std::thread other(write);
        write();
        other.join();
    });
    EXPECT_THAT(result.OutputLines(), testing::AllOf(SizeIs(2 * kLines), Each(text)));
}

TEST(Tracer, ALineIsPrintedAtOnce) {
    const ChildResult result = Trace([] {
        Tracer::Enable(0xFF);
        Tracer::WriteLine("error", Level::kError);
        _exit(Testing::kBodyReturned);
    });
    EXPECT_EQ(result.output, "error\n");
}

void* WriteWhileCancelled(void*) {
    pthread_cancel(pthread_self());
    Tracer::WriteLine("first", Level::kError);
    Tracer::WriteLine("second", Level::kError);
    pthread_testcancel();
    Tracer::WriteLine("never", Level::kError);
    return nullptr;
}

TEST(Tracer, ALineIsNoCancellationPoint) {
    const ChildResult result = Trace([] {
        Tracer::Enable(0xFF);
        pthread_t thread = 0;
        pthread_create(&thread, nullptr, WriteWhileCancelled, nullptr);
        pthread_join(thread, nullptr);
        Tracer::WriteLine("after", Level::kError);
    });
    EXPECT_EQ(result.output, "first\nsecond\nafter\n");
}

}  // namespace
}  // namespace Diagnostics
