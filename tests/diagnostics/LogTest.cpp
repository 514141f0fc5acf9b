#include "diagnostics/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <plog/Init.h>
#include <pthread.h>

#include <cstdio>
#include <string>

#include "tests/support/CapturedLog.h"
#include "tests/support/ChildProcess.h"

namespace Diagnostics {
namespace {

using testing::ElementsAre;
using testing::Pair;

class Door {
  public:
    void Open(int number, const char* by) const { MUX_LOG(plog::info) << "Door " << number << " opened by " << by; }
};

void Helper() {
    MUX_LOG(plog::warning) << "helped";
}

void Callback() {
    MUX_OPERATION();
    Helper();
}

void Operation() {
    MUX_OPERATION();
    Helper();
    Callback();
    const auto lambda = [] { Helper(); };
    lambda();
}

void FailingOperation() {
    MUX_OPERATION();
    throw 1;
}

const std::string kNamespace = "void Diagnostics::{anonymous}::";

TEST(Log, ALineBeginsWithTheFullSignatureOfTheFunctionThatWritesIt) {
    const Testing::CapturedLog log;
    Door().Open(5, "key");
    EXPECT_THAT(log.Lines(), ElementsAre(Pair(plog::info,
                                              "void Diagnostics::{anonymous}::Door::Open(int, const char*) const "
                                              "Door 5 opened by key")));
}

TEST(Log, ALineBeginsWithTheInnermostOperationOfItsThread) {
    const Testing::CapturedLog log;
    Operation();
    Helper();
    EXPECT_THAT(log.Lines(), ElementsAre(Pair(plog::warning, kNamespace + "Operation() helped"),
                                         Pair(plog::warning, kNamespace + "Callback() helped"),
                                         Pair(plog::warning, kNamespace + "Operation() helped"),
                                         Pair(plog::warning, kNamespace + "Helper() helped")));
}

TEST(Log, AnOperationEndsWithAnException) {
    const Testing::CapturedLog log;
    const LogOperation outer("void Outer()");
    EXPECT_THROW(FailingOperation(), int);
    Helper();
    EXPECT_THAT(log.Lines(), ElementsAre(Pair(plog::warning, "void Outer() helped")));
}

class LinesAtItsEnd {
  public:
    LinesAtItsEnd() = default;
    ~LinesAtItsEnd() { Helper(); }
    LinesAtItsEnd(const LinesAtItsEnd&) = delete;
    LinesAtItsEnd& operator=(const LinesAtItsEnd&) = delete;
};

void* BeCancelledInAnOperation(void*) {
    const LogOperation outer("void Outer()");
    const LinesAtItsEnd outerEnd;
    const LogOperation inner("void Inner()");
    const LinesAtItsEnd innerEnd;
    pthread_cancel(pthread_self());
    pthread_testcancel();
    return nullptr;
}

TEST(Log, AnOperationEndsWithTheCancellationOfItsThreadAndIsOfNoOther) {
    const Testing::CapturedLog log;
    const LogOperation ofThisThread("void Other()");
    pthread_t thread = 0;
    ASSERT_EQ(pthread_create(&thread, nullptr, BeCancelledInAnOperation, nullptr), 0);
    pthread_join(thread, nullptr);
    Helper();
    EXPECT_THAT(log.Lines(),
                ElementsAre(Pair(plog::warning, "void Inner() helped"), Pair(plog::warning, "void Outer() helped"),
                            Pair(plog::warning, "void Other() helped")));
}

TEST(Log, OperandsAreEvaluatedOnlyWhenTheSeverityIsLogged) {
    const Testing::CapturedLog log;
    plog::get()->setMaxSeverity(plog::info);
    int evaluated = 0;
    MUX_LOG(plog::debug) << ++evaluated;
    EXPECT_EQ(evaluated, 0);
    MUX_LOG(plog::info) << ++evaluated;
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(log.Lines().size(), 1U);
    EXPECT_TRUE(IsLogged(plog::info));
    EXPECT_FALSE(IsLogged(plog::debug));
}

TEST(Log, ALineCanStandAsTheOnlyStatementOfABranch) {
    const Testing::CapturedLog log;
    for (const bool first : {true, false}) {
        // NOLINTBEGIN(readability-braces-around-statements): the missing braces are what is tested
        if (first)
            MUX_LOG(plog::info) << "first";
        else
            MUX_LOG(plog::info) << "second";
        // NOLINTEND(readability-braces-around-statements)
    }
    EXPECT_EQ(log.Count(plog::info, "first"), 1);
    EXPECT_EQ(log.Count(plog::info, "second"), 1);
}

// Writing to a file or a console is a cancellation point; this one is nothing else.
class CancellingAppender : public plog::IAppender {
  public:
    void write(const plog::Record& record) override {
        pthread_testcancel();
        std::puts(record.getMessage());
    }
};

void* LogWhileCancelled(void*) {
    pthread_cancel(pthread_self());
    MUX_LOG(plog::info) << "first";
    MUX_LOG(plog::info) << "second";
    pthread_testcancel();
    MUX_LOG(plog::info) << "never";
    return nullptr;
}

TEST(Log, ALineIsNoCancellationPointAndLeavesCancellationAsItWas) {
    const Testing::ChildResult result = Testing::RunInChild(".", [] {
        CancellingAppender appender;
        plog::init(plog::info, &appender);
        pthread_t thread = 0;
        pthread_create(&thread, nullptr, LogWhileCancelled, nullptr);
        pthread_join(thread, nullptr);
    });
    EXPECT_EQ(result.exitStatus, Testing::kBodyReturned);
    EXPECT_TRUE(result.HasInOrder({"LogWhileCancelled(void*) first", "LogWhileCancelled(void*) second"}))
        << result.output;
    EXPECT_EQ(result.OutputLines().size(), 2U) << result.output;
}

TEST(Log, WithoutALoggerALineIsDropped) {
    const Testing::ChildResult result = Testing::RunInChild(".", [] { MUX_LOG(plog::fatal) << "nowhere"; });
    EXPECT_EQ(result.exitStatus, Testing::kBodyReturned);
    EXPECT_EQ(result.output, "");
}

}  // namespace
}  // namespace Diagnostics
