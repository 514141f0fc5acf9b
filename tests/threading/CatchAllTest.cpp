#include "threading/CatchAll.h"

#include <gtest/gtest.h>

#include <atomic>
#include <exception>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/support/WaitUntil.h"
#include "threading/Thread.h"

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

TEST(CatchAllTest, LetsWorkBeDone) {
    bool isDone = false;
    EXPECT_TRUE(CatchAll([&] { isDone = true; }, [](const char* text) { ADD_FAILURE() << text; }));
    EXPECT_TRUE(isDone);
}

TEST(CatchAllTest, TellsWhatWasThrown) {
    EXPECT_EQ(TextOf([] {}), "(nothing)");
    EXPECT_EQ(TextOf([] { throw std::runtime_error("the reason"); }), "the reason");
}

TEST(CatchAllTest, TellsWhatWasThrownAsAPointerAndFreesIt) {
    EXPECT_EQ(TextOf([] { throw new CountedException; }), "counted");
    EXPECT_EQ(CountedException::alive, 0);
}

TEST(CatchAllTest, CutsALongText) {
    EXPECT_EQ(TextOf([] { throw std::out_of_range(std::string(255, 'x')); }), std::string(255, 'x'));
    EXPECT_EQ(TextOf([] { throw std::out_of_range(std::string(1000, 'x')); }), std::string(255, 'x'));
}

TEST(CatchAllTest, CallsAnythingElseAnUnknownException) {
    EXPECT_EQ(TextOf([] { throw 42; }), "unknown exception");
}

TEST(CatchAllTest, LetsWhatTheHandlerThrowsPass) {
    EXPECT_THROW(CatchAll([] { throw std::runtime_error("first"); }, [](const char*) { throw std::string("second"); }),
                 std::string);
}

// Static: a cancelled thread may outlive the test that started it.
std::atomic<int> begun{0};
std::atomic<int> unwound{0};
std::atomic<int> caught{0};

struct CountUnwinding {
    CountUnwinding() { ++begun; }
    ~CountUnwinding() { ++unwound; }
};

void* WaitForCancellation(void*) {
    for (;;) {
        CatchAll(
            [] {
                const CountUnwinding counter;
                pthread_testcancel();
                std::this_thread::yield();
            },
            [](const char*) { ++caught; });
    }
}

TEST(CatchAllTest, LetsTheUnwindingOfACancelledThreadPass) {
    Thread thread(WaitForCancellation);
    ASSERT_TRUE(thread.Start(nullptr));
    ASSERT_TRUE(Testing::WaitUntil([] { return begun > 0; }));
    thread.Cancel();
    ASSERT_TRUE(Testing::WaitUntil([] {
        const int before = begun;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return begun == before && unwound == before;
    })) << "it goes on";
    EXPECT_EQ(caught, 0);
}

}  // namespace
}  // namespace Threading
