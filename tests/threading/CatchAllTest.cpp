#include "threading/CatchAll.h"

#include <gtest/gtest.h>

#include <exception>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/support/WaitUntil.h"
#include "tests/threading/Unwinding.h"
#include "threading/Thread.h"

using Testing::Unwinding;

namespace Threading {
namespace {

class CountedException : public std::exception {
  public:
    CountedException() { ++alive; }
    CountedException(const CountedException&) = delete;
    CountedException& operator=(const CountedException&) = delete;
    ~CountedException() override { --alive; }
    const char* what() const noexcept override { return "counted"; }

    static inline int alive = 0;
};

template <typename Work>
std::string TextOf(Work work) {
    std::string caught = "(nothing)";
    const bool isDone = CatchAll(work, [&](const char* text) { caught = text; });
    EXPECT_EQ(isDone, caught == "(nothing)");
    return caught;
}

TEST(CatchAllTest, TellsWhatWasThrown) {
    bool isDone = false;
    EXPECT_EQ(TextOf([&] { isDone = true; }), "(nothing)");
    EXPECT_TRUE(isDone);
    EXPECT_EQ(TextOf([] { throw std::runtime_error("the reason"); }), "the reason");
    EXPECT_EQ(TextOf([] { throw 42; }), "unknown exception");
}

TEST(CatchAllTest, TellsWhatWasThrownAsAPointerAndFreesIt) {
    EXPECT_EQ(TextOf([] { throw new CountedException; }), "counted");
    EXPECT_EQ(CountedException::alive, 0);
}

TEST(CatchAllTest, CutsALongText) {
    EXPECT_EQ(TextOf([] { throw std::out_of_range(std::string(255, 'x')); }), std::string(255, 'x'));
    EXPECT_EQ(TextOf([] { throw std::out_of_range(std::string(1000, 'x')); }), std::string(255, 'x'));
}

TEST(CatchAllTest, LetsWhatTheHandlerThrowsPass) {
    EXPECT_THROW(CatchAll([] { throw std::runtime_error("first"); }, [](const char*) { throw std::string("second"); }),
                 std::string);
}

void* CatchAllAgainAndAgain(void*) {
    for (;;) {
        CatchAll(
            [] {
                const Unwinding counter;
                pthread_testcancel();
                std::this_thread::yield();
            },
            [](const char*) { ++Unwinding::caught; });
    }
}

TEST(CatchAllTest, LetsTheUnwindingOfACancelledThreadPass) {
    Unwinding::Reset();
    Thread thread(CatchAllAgainAndAgain);
    ASSERT_TRUE(thread.Start(nullptr));
    ASSERT_TRUE(Testing::WaitUntil([] { return Unwinding::begun > 0; }));
    thread.Cancel();
    ASSERT_TRUE(Testing::WaitUntil([] {
        const int before = Unwinding::begun;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return Unwinding::begun == before && Unwinding::unwound == before;
    })) << "it goes on";
    EXPECT_EQ(Unwinding::caught, 0);
}

}  // namespace
}  // namespace Threading
