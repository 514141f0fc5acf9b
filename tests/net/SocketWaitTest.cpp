#include "net/SocketWait.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>

#include "net/WakeUp.h"
#include "tests/net/SocketCalls.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/SignalStorm.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using Clock = std::chrono::steady_clock;
using Testing::LoopbackSocket;

class SocketWaitTest : public testing::Test {
  protected:
    LoopbackSocket listener_ = LoopbackSocket::Listening();
    LoopbackSocket near_ = LoopbackSocket::ConnectedTo(listener_.Port());
    LoopbackSocket far_ = listener_.Accept();
};

TEST_F(SocketWaitTest, AnEventOrThePeersEndEndsTheWait) {
    EXPECT_EQ(WaitForEvent(near_.Descriptor(), POLLOUT, minutes(10)), 1);
    far_.Send({0x01});
    EXPECT_EQ(WaitForEvent(near_.Descriptor(), POLLIN, minutes(10)), 1);
    near_.Receive(1);
    far_.Close();
    EXPECT_EQ(WaitForEvent(near_.Descriptor(), POLLIN, minutes(10)), 1);
}

TEST_F(SocketWaitTest, WithoutAnEventTheWaitLastsItsTimeWhateverSignalsCome) {
    EXPECT_EQ(WaitForEvent(near_.Descriptor(), POLLIN, milliseconds(0)), 0);
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
    EXPECT_EQ(WaitForEvents(waited, minutes(10)), 1);
    EXPECT_EQ(waited.at(0).revents, 0);
    EXPECT_EQ(waited.at(1).revents, POLLIN);
}

bool IsAwake(const WakeUp& wakeUp) {
    return WaitForEvent(wakeUp.Descriptor(), POLLIN, milliseconds(0)) == 1;
}

TEST(WakeUp, EndsAWaitForItsDescriptorUntilItIsCleared) {
    const WakeUp wakeUp;
    EXPECT_FALSE(IsAwake(wakeUp));
    wakeUp.Wake();
    wakeUp.Wake();
    EXPECT_TRUE(IsAwake(wakeUp));
    wakeUp.Clear();
    EXPECT_FALSE(IsAwake(wakeUp));
    wakeUp.Clear();  // does not wait
    wakeUp.Wake();
    EXPECT_TRUE(IsAwake(wakeUp));
}

TEST(WakeUp, WithoutADescriptorWakesNobodyAndDoesNoHarm) {
    Testing::ResourceLimit none(RLIMIT_NOFILE);
    none.Set(static_cast<rlim_t>(LoopbackSocket().Descriptor()));
    const WakeUp wakeUp;
    EXPECT_EQ(wakeUp.Descriptor(), -1);
    wakeUp.Wake();
    wakeUp.Clear();
}

}  // namespace
}  // namespace Brenk::Net
