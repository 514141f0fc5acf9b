#include "net/ClientOutput.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <new>
#include <thread>
#include <vector>

#include "tests/net/SocketCalls.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/support/WaitUntil.h"

namespace Brenk::Net {
namespace {

using std::chrono::seconds;
using testing::IsEmpty;
using Testing::LoopbackSocket;
using Testing::WaitUntil;
using Bytes = std::vector<unsigned char>;
using Clock = PendingOutput::Clock;

// A client that reads when the test says so, and the stream to it.
class ClientOutputTest : public testing::Test {
  protected:
    ClientOutputTest() {
        client_.UseSmallReceiveBuffer();
        client_.ConnectTo(listener_.Port());
        accepted_ = listener_.Accept();
        const int smallest = 1;  // the kernel takes its smallest instead
        EXPECT_EQ(setsockopt(accepted_.Descriptor(), SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest), 0);
        output_ = std::make_unique<ClientOutput>(accepted_.Descriptor(), budget_);
    }

    // Sends 64 KiB after 64 KiB until something is pending, and adds them to `sent`.
    void SendUntilPending(Bytes& sent) {
        while (!output_->IsPending()) {
            const Bytes part = Numbered(65536, sent.size());
            ASSERT_EQ(output_->Send(part).error, 0);
            sent.insert(sent.end(), part.begin(), part.end());
        }
    }

    static Bytes Numbered(std::size_t count, std::size_t first) {
        Bytes bytes(count);
        for (std::size_t index = 0; index < count; ++index) {
            bytes.at(index) = static_cast<unsigned char>((first + index) % 251);
        }
        return bytes;
    }

    // Receives `count` bytes while another thread sends on what is pending.
    Bytes ReceiveWhileSendingOn(std::size_t count) {
        std::atomic<bool> done{false};
        std::thread sender([&] {
            while (!done) {
                EXPECT_EQ(output_->SendOn(), 0);
                std::this_thread::yield();
            }
        });
        Bytes received = client_.Receive(count, seconds(60));
        done = true;
        sender.join();
        return received;
    }

    LoopbackSocket listener_ = LoopbackSocket::Listening();
    LoopbackSocket client_;
    LoopbackSocket accepted_;
    OutputBudget budget_;
    std::unique_ptr<ClientOutput> output_;
};

TEST_F(ClientOutputTest, WhatTheSocketTakesIsSentInOneCallThatDoesNotWaitAndNothingIsPending) {
    const SeenCalls seen;
    EXPECT_EQ(output_->Send({}).error, 0);
    EXPECT_THAT(seen.All(), IsEmpty());
    const auto outcome = output_->Send({0x7B, 0x00, 0x7D});
    EXPECT_EQ(outcome.error, 0);
    EXPECT_FALSE(outcome.isNewlyPending);
    EXPECT_FALSE(output_->IsPending());
    EXPECT_EQ(output_->Deadline(), Clock::time_point::max());
    EXPECT_THAT(seen.All(), testing::ElementsAre("send 3 bytes, flags " + std::to_string(MSG_DONTWAIT)));
    EXPECT_EQ(client_.Receive(3), (Bytes{0x7B, 0x00, 0x7D}));
    const FailingCalls interrupted(SocketCall::kSend, EINTR, 3);
    EXPECT_EQ(output_->Send({0x41}).error, 0);
    EXPECT_EQ(interrupted.Left(), 0);
    EXPECT_EQ(client_.Receive(1), Bytes{0x41});
}

TEST_F(ClientOutputTest, WhatTheSocketDoesNotTakeIsPendingAndComesOutWholeAndInOrder) {
    Bytes sent;
    SendUntilPending(sent);
    for (int more = 0; more < 5; ++more) {  // behind what is pending
        const Bytes part = Numbered(1000, sent.size());
        const auto outcome = output_->Send(part);
        EXPECT_EQ(outcome.error, 0);
        EXPECT_FALSE(outcome.isNewlyPending) << "it was pending before";
        sent.insert(sent.end(), part.begin(), part.end());
    }
    EXPECT_GT(budget_.Used(), 0U);
    EXPECT_EQ(ReceiveWhileSendingOn(sent.size()), sent);
    EXPECT_FALSE(output_->IsPending());
    EXPECT_EQ(budget_.Used(), 0U);
    EXPECT_EQ(output_->Send({0x41}).error, 0);
    EXPECT_EQ(client_.Receive(1), Bytes{0x41});
}

TEST_F(ClientOutputTest, SaysWhenSomethingBecomesPendingAndOffersItBeforeWhatComesLater) {
    const FailingCalls full(SocketCall::kSend, EAGAIN, 3);
    EXPECT_TRUE(output_->Send({0x41}).isNewlyPending);
    EXPECT_TRUE(output_->IsPending());
    EXPECT_FALSE(output_->Send({0x42}).isNewlyPending);
    EXPECT_EQ(output_->SendOn(), 0);
    EXPECT_TRUE(output_->IsPending());
    EXPECT_EQ(output_->Send({0x43}).error, 0) << "the socket takes something now";
    EXPECT_FALSE(output_->IsPending());
    EXPECT_EQ(client_.Receive(3), (Bytes{0x41, 0x42, 0x43}));
}

TEST_F(ClientOutputTest, WhatFindsNoRoomFailsTheStreamForEverAndGivesTheMemoryBack) {
    const FailingCalls full(SocketCall::kSend, EAGAIN, 1000);
    EXPECT_EQ(output_->Send(Bytes(1048576)).error, 0);
    EXPECT_EQ(budget_.Used(), 1048576U - 16384U);
    EXPECT_EQ(output_->Send({0x41}).error, EAGAIN);
    EXPECT_EQ(budget_.Used(), 0U);
    EXPECT_FALSE(output_->IsPending());
    const int left = full.Left();
    EXPECT_EQ(output_->Send({0x42}).error, EAGAIN) << "it would follow a torn text";
    EXPECT_EQ(output_->SendOn(), EAGAIN);
    EXPECT_EQ(full.Left(), left) << "the socket was offered something";
}

TEST_F(ClientOutputTest, AFailureGivesItsErrorAndIsNotRepeatedAndDropsWhatIsPending) {
    for (const bool isSentOn : {false, true}) {
        ClientOutput output(accepted_.Descriptor(), budget_);
        {
            const FailingCalls full(SocketCall::kSend, EAGAIN);
            EXPECT_EQ(output.Send({0x41}).error, 0);
        }
        const FailingCalls failing(SocketCall::kSend, EPIPE, 2);
        EXPECT_EQ(isSentOn ? output.SendOn() : output.Send({0x42}).error, EPIPE);
        EXPECT_FALSE(output.IsPending());
        EXPECT_EQ(budget_.Used(), 0U);
        EXPECT_EQ(output.Send({0x43}).error, EPIPE);
        EXPECT_EQ(failing.Left(), 1);
    }
    const FailingCalls failing(SocketCall::kSend, ECONNRESET);
    EXPECT_EQ(output_->Send({0x41}).error, ECONNRESET);
    EXPECT_FALSE(output_->IsPending());
}

TEST_F(ClientOutputTest, SendingOnFailsWhenNothingIsTakenFor2Seconds) {
    Bytes sent;
    SendUntilPending(sent);
    const auto deadline = output_->Deadline();
    EXPECT_LE(deadline, Clock::now() + seconds(2));
    int error = 0;
    EXPECT_TRUE(WaitUntil([&] { return (error = output_->SendOn()) != 0; }));
    EXPECT_EQ(error, EAGAIN);
    EXPECT_GE(Clock::now(), deadline);
}

// As after a stop of the whole process.
TEST_F(ClientOutputTest, AClientThatTakesSomethingAtTheLastMomentIsNotTooSlow) {
    {
        const FailingCalls full(SocketCall::kSend, EAGAIN);
        EXPECT_EQ(output_->Send({0x41}).error, 0);
    }
    std::this_thread::sleep_until(output_->Deadline());
    EXPECT_EQ(output_->SendOn(), 0);
    EXPECT_FALSE(output_->IsPending());
}

TEST_F(ClientOutputTest, AnExceptionInTheMiddleLeavesAStreamThatFails) {
    FailingCalls throwing(SocketCall::kSend, 0);
    throwing.Doing([] { throw std::bad_alloc(); });
    EXPECT_THROW(output_->Send({0x41}), std::bad_alloc);
    EXPECT_TRUE(output_->IsPending()) << "nobody would look at it";
    EXPECT_EQ(output_->Send({0x42}).error, EPIPE);
    EXPECT_EQ(client_.Receive(1, std::chrono::milliseconds(50)), Bytes{});
}

// Each buffer holds one value only, so a mixture of two shows.
TEST_F(ClientOutputTest, TheBuffersOfManyThreadsAreNotMixedUp) {
    constexpr std::size_t kThreads = 3;
    constexpr std::size_t kBuffers = 200;
    constexpr std::size_t kBytes = 997;
    std::vector<std::thread> senders;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
        senders.emplace_back([this, thread] {
            for (std::size_t number = 0; number < kBuffers; ++number) {
                const auto value = static_cast<unsigned char>(thread * kBuffers % 256 + number % 80);
                EXPECT_EQ(output_->Send(Bytes(kBytes, value)).error, 0);
            }
        });
    }
    const Bytes received = ReceiveWhileSendingOn(kThreads * kBuffers * kBytes);
    for (std::thread& sender : senders) {
        sender.join();
    }
    ASSERT_EQ(received.size(), kThreads * kBuffers * kBytes);
    for (std::size_t begin = 0; begin < received.size(); begin += kBytes) {
        const auto first = received.begin() + static_cast<std::ptrdiff_t>(begin);
        ASSERT_EQ(std::count(first, first + kBytes, *first), static_cast<std::ptrdiff_t>(kBytes)) << begin;
    }
}

}  // namespace
}  // namespace Brenk::Net
