// A signal that waits for the end of a log line which never ends. The process must get to its end all the same, with
// the status of the signal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Log.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "diagnostics/Log.h"
#include "diagnostics/ProcessEnd.h"
#include "tests/diagnostics/EndingProcess.h"
#include "tests/diagnostics/ShortAlarm.h"

namespace Diagnostics {
namespace {

using Testing::ChildResult;
using Testing::EndingProcess;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

const std::string kEnds = "it ends";
const std::string kNeverEnds = "it never ends";

constexpr std::chrono::seconds kTimeToEnd{30};
constexpr std::chrono::seconds kTimeForAnotherThread{2};

[[noreturn]] void PauseForEver() {
    for (;;) {
        pause();
    }
}

// Raises the signals in the first line, one after the other.
class RaisingAppender : public plog::IAppender {
  public:
    explicit RaisingAppender(std::vector<int> signals) : signals_(std::move(signals)) {}

    void write(const plog::Record& record) override {
        for (const int signalNumber : std::exchange(signals_, {})) {
            raise(signalNumber);
        }
        if (std::string(record.getMessage()).find(kNeverEnds) != std::string::npos) {
            PauseForEver();
        }
    }

  private:
    std::vector<int> signals_;
};

class DeferredSignal : public testing::Test {
  protected:
    ChildResult RaiseInALine(const std::vector<int>& signals, const std::string& line) const {
        return process_.Run([&] {
            if (line == kEnds) {
                Testing::LetAlarmsTake(kTimeToEnd);
            }
            plog::get()->addAppender(new RaisingAppender(signals));
            MUX_LOG(plog::info) << line;
        });
    }

    EndingProcess process_;
};

TEST_F(DeferredSignal, InALineThatNeverEndsIsBoundedByAWatchdogWithTheStatusOfTheFirst) {
    const std::pair<std::vector<int>, int> rows[] = {
        {{SIGQUIT}, 0}, {{SIGHUP}, 255}, {{SIGQUIT, SIGHUP}, 0}, {{SIGHUP, SIGQUIT}, 255}};
    for (const auto& [signals, status] : rows) {
        const ChildResult result = RaiseInALine(signals, kNeverEnds);
        EXPECT_EQ(result.exitStatus, status);
        EXPECT_THAT(result.output, EndsWith("it never ends\n5 seconds\n"));
    }
}

TEST_F(DeferredSignal, ThatIsFollowedByAnotherInTheSameLineDecides) {
    const ChildResult quit = RaiseInALine({SIGQUIT, SIGHUP}, kEnds);
    ASSERT_EQ(quit.exitStatus, 0);
    EXPECT_THAT(quit.output, AllOf(HasSubstr("Termination signal"), Not(HasSubstr("Kill signal"))));
    const ChildResult hangUp = RaiseInALine({SIGHUP, SIGQUIT}, kEnds);
    EXPECT_EQ(hangUp.exitStatus, 255);
    EXPECT_THAT(hangUp.output, AllOf(HasSubstr("Kill signal"), Not(HasSubstr("Termination signal"))));
}

TEST_F(DeferredSignal, GivesItsStatusAndItsTimeUpForAFaultInTheSameLine) {
    for (const int fault : {SIGABRT, SIGBUS, SIGSEGV}) {
        const ChildResult result = RaiseInALine({SIGQUIT, fault}, kEnds);
        EXPECT_EQ(result.exitStatus, 255);
        EXPECT_THAT(result.output, EndsWith("it ends\n5 seconds\n60 seconds\n"));
    }
}

TEST_F(DeferredSignal, HasATimeOfItsOwnAndThenThatOfItsEnding) {
    const ChildResult result = RaiseInALine({SIGQUIT}, kEnds);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(result.HasInOrder({"it ends\n5 seconds\n5 seconds\n", "Termination signal received."}))
        << result.output;
}

void BeginCrash() {
    std::thread([] { BeginEnding(255, 60); }).join();
}

TEST_F(DeferredSignal, TakesNoTimeFromAnEndingThatHasBegun) {
    const ChildResult result = process_.Run([] {
        Testing::LetAlarmsTake(kTimeForAnotherThread);
        BeginCrash();
        ExpectEnding(0, 5);
        PauseForEver();
    });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_THAT(result.output, AllOf(EndsWith("\n60 seconds\n"), Not(HasSubstr("\n5 seconds\n"))));
}

TEST_F(DeferredSignal, TakesNoTimeFromAnEndingThatBeginsMeanwhile) {
    const ChildResult result = process_.Run([] {
        Testing::LetAlarmsTake(kTimeForAnotherThread);
        Testing::CallAtNextAlarmOf5Seconds(BeginCrash);
        ExpectEnding(0, 5);
        PauseForEver();
    });
    EXPECT_EQ(result.exitStatus, 255);
    EXPECT_THAT(result.output, EndsWith("\n60 seconds\n5 seconds\n60 seconds\n"));
}

}  // namespace
}  // namespace Diagnostics
