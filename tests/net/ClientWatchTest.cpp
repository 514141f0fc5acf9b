#include "net/ClientWatch.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "tests/net/SocketCalls.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/LoopbackSocket.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Testing::FailingCalls;
using Testing::LoopbackSocket;
using Testing::SocketCall;
using Bytes = std::vector<unsigned char>;
using Clock = ClientWatch::Clock;

// Two clients that are watched.
class ClientWatchTest : public testing::Test {
  protected:
    ClientWatchTest() {
        for (LoopbackSocket* peer : {&first_, &second_}) {
            peer->ConnectTo(listener_.Port());
            clients_.push_back(table_.NewClient(dup(listener_.Accept().Descriptor())));
            table_.Add(clients_.back());
        }
        watch_.Collect(table_);
    }

    std::vector<ClientPointer> WithInput() const {
        std::vector<ClientPointer> found;
        watch_.ForEachWithInput([&](const ClientPointer& client) { found.push_back(client); });
        return found;
    }

    std::vector<ClientPointer> ToSendOn() const {
        std::vector<ClientPointer> found;
        watch_.ForEachToSendOn([&](const ClientPointer& client) { found.push_back(client); });
        return found;
    }

    static void LeaveSomethingPending(const ClientPointer& client) {
        const FailingCalls full(SocketCall::kSend, EAGAIN);
        EXPECT_EQ(client->Output().Send({0x41}).error, 0);
    }

    Testing::CapturedLog log_;
    LoopbackSocket listener_ = LoopbackSocket::Listening();
    LoopbackSocket first_;
    LoopbackSocket second_;
    ClientTable table_;
    std::vector<ClientPointer> clients_;
    ClientWatch watch_;
};

TEST_F(ClientWatchTest, FindsThoseThatHaveSentSomething) {
    second_.Send({0x41});
    EXPECT_TRUE(watch_.WaitUntil(Clock::now() + seconds(10)));
    EXPECT_TRUE(watch_.HasInput());
    EXPECT_EQ(WithInput(), std::vector<ClientPointer>{clients_.at(1)});
    EXPECT_TRUE(ToSendOn().empty());
}

TEST_F(ClientWatchTest, FindsThoseThatTakeMoreOfWhatIsPending) {
    LeaveSomethingPending(clients_.at(0));
    EXPECT_TRUE(watch_.WaitUntil(Clock::now() + seconds(10)));
    EXPECT_FALSE(watch_.HasInput());
    EXPECT_EQ(ToSendOn(), std::vector<ClientPointer>{clients_.at(0)});
}

TEST_F(ClientWatchTest, LeavesOutWhoWasShutDownMeanwhile) {
    first_.Send({0x41});
    LeaveSomethingPending(clients_.at(0));
    EXPECT_TRUE(watch_.WaitUntil(Clock::now() + seconds(10)));
    clients_.at(0)->ShutDown();
    EXPECT_TRUE(WithInput().empty());
    EXPECT_TRUE(ToSendOn().empty());
}

TEST_F(ClientWatchTest, WaitsNoLongerThanItIsTold) {
    const auto end = Clock::now() + milliseconds(20);
    EXPECT_TRUE(watch_.WaitUntil(end));
    EXPECT_GE(Clock::now(), end);
    EXPECT_FALSE(watch_.HasInput());
}

TEST_F(ClientWatchTest, IsWokenOnceForEachCall) {
    watch_.Wake();
    const auto begin = Clock::now();
    EXPECT_TRUE(watch_.WaitUntil(begin + seconds(30)));
    EXPECT_LT(Clock::now(), begin + seconds(30));
    EXPECT_FALSE(watch_.HasInput());
    const auto end = Clock::now() + milliseconds(20);
    EXPECT_TRUE(watch_.WaitUntil(end));
    EXPECT_GE(Clock::now(), end) << "it is still awake";
}

TEST_F(ClientWatchTest, SaysWhenItCannotWait) {
    const FailingCalls failing(SocketCall::kPoll, EINVAL);
    EXPECT_FALSE(watch_.WaitUntil(Clock::now() + seconds(10)));
    EXPECT_EQ(errno, EINVAL);
}

}  // namespace
}  // namespace Brenk::Net
