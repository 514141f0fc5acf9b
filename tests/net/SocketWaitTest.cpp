#include "net/SocketWait.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <fcntl.h>
#include <array>
#include <cerrno>

#include "tests/net/SocketCalls.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/support/SignalStorm.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Testing::FailingCalls;
using Testing::LoopbackSocket;
using Testing::SocketCall;

class SocketWaitTest : public testing::Test {
  protected:
    LoopbackSocket listener_ = LoopbackSocket::Listening();
    LoopbackSocket near_ = LoopbackSocket::ConnectedTo(listener_.Port());
    LoopbackSocket far_ = listener_.Accept();
};

TEST_F(SocketWaitTest, AnEventEndsTheWait) {
    far_.Send({0x01});
    EXPECT_EQ(WaitForEvent(near_.Descriptor(), POLLIN, std::chrono::minutes(10)), 1);
    EXPECT_EQ(WaitForEvent(near_.Descriptor(), POLLOUT, std::chrono::minutes(10)), 1);
}

TEST_F(SocketWaitTest, ThePeersEndIsAnEvent) {
    far_.Close();
    EXPECT_EQ(WaitForEvent(near_.Descriptor(), POLLIN, std::chrono::minutes(10)), 1);
}

TEST_F(SocketWaitTest, WithoutAnEventTheWaitLastsItsTime) {
    const auto begin = Clock::now();
    EXPECT_EQ(WaitForEvent(near_.Descriptor(), POLLIN, milliseconds(30)), 0);
    EXPECT_GE(Clock::now() - begin, milliseconds(30));
    EXPECT_EQ(WaitForEvent(near_.Descriptor(), POLLIN, milliseconds(0)), 0);
}

TEST_F(SocketWaitTest, SignalsNeitherEndNorLengthenTheWait) {
    const Testing::SignalStorm storm;
    const auto begin = Clock::now();
    EXPECT_EQ(WaitForEvent(near_.Descriptor(), POLLIN, milliseconds(300)), 0);
    EXPECT_GE(Clock::now() - begin, milliseconds(300));
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5));
    EXPECT_GT(storm.Handled(), 1);
}

TEST_F(SocketWaitTest, AFailureIsReportedWithItsNumber) {
    const FailingCalls failing(SocketCall::kPoll, ENOMEM);
    EXPECT_EQ(WaitForEvent(near_.Descriptor(), POLLIN, milliseconds(30)), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST_F(SocketWaitTest, OfSeveralTheReadyOnesAreMarked) {
    far_.Send({0x01});
    std::vector<pollfd> waited = {{listener_.Descriptor(), POLLIN, 0}, {near_.Descriptor(), POLLIN, 0}};
    EXPECT_EQ(WaitForEvents(waited, std::chrono::minutes(10)), 1);
    EXPECT_EQ(waited.at(0).revents, 0);
    EXPECT_EQ(waited.at(1).revents, POLLIN);
}

TEST_F(SocketWaitTest, ADescriptorNumberBeyond1023CanBeWaitedFor) {
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    if (limit.rlim_max <= 2000) {
        GTEST_SKIP() << "this system allows only " << limit.rlim_max << " descriptors";
    }
    const LoopbackSocket high(fcntl(near_.Descriptor(), F_DUPFD_CLOEXEC, 2000));
    ASSERT_GE(high.Descriptor(), 2000);
    far_.Send({0x01});
    EXPECT_EQ(WaitForEvent(high.Descriptor(), POLLIN, std::chrono::minutes(10)), 1);
}

}  // namespace
}  // namespace Brenk::Net
