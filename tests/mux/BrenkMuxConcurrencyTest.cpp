// The Mux's guards exclude nobody: its queues and lists have to hold by themselves. These tests have several threads at
// the same ones; a race checker that runs them sees every unprotected access.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "mux/BrenkMux.h"
#include "tests/mux/TestMux.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/Threads.h"

using Testing::ConfigurationText;
using Testing::LockData;
using Testing::OnThreads;
using Testing::Request;
using Testing::ReservedPort;
using Testing::TestMux;

namespace Mux {
namespace {

constexpr int kRounds = 200;

class BrenkMuxConcurrency : public testing::Test {
  protected:
    BrenkMuxConcurrency() { mux.ParseConfiguration(ConfigurationText({port.Number()})); }

    // What so many clients send at the same time. The IDs of the first one's requests are "0 0", "0 1" and so on.
    void TakeInRequests(int clients, int gatewayID) {
        OnThreads(clients, [this, gatewayID](int client) {
            for (int round = 0; round < kRounds; ++round) {
                mux.TakeIn(Request(22, std::to_string(client) + " " + std::to_string(round), LockData(gatewayID)));
            }
        });
    }

    const ReservedPort port;
    TestMux mux;
};

TEST_F(BrenkMuxConcurrency, LosesNoRequestWhileClientsAddAndTheGatewaysThreadTakes) {
    std::atomic<bool> done{false};
    std::thread gateways([&] {
        while (!done || mux.RequestCount() != 0) {
            mux.PopNextMessage();
        }
    });
    TakeInRequests(3, 9);
    done = true;
    gateways.join();
    EXPECT_EQ(mux.AnswerCount(), 3U * kRounds);
    EXPECT_EQ(mux.PendingCount(), 0U);
}

TEST_F(BrenkMuxConcurrency, AnswersEachRequestOnceWhileGatewaysAnswerAndRequestsAreHandedOn) {
    std::atomic<bool> done{false};
    std::thread gateways([&] {
        while (!done || mux.RequestCount() != 0) {
            mux.PopNextMessage();
        }
    });
    std::atomic<bool> handedOn{false};
    std::thread readThread([&] {
        while (!handedOn || mux.PendingCount() != 0) {
            for (int round = 0; round < kRounds; ++round) {
                mux.AnswerFromGateway("0 " + std::to_string(round), 0);
                mux.AnswerFromGateway("1 " + std::to_string(round), 8);
            }
        }
    });
    TakeInRequests(2, 1);
    done = true;
    gateways.join();
    handedOn = true;
    readThread.join();
    EXPECT_EQ(mux.PendingCount(), 0U);
    EXPECT_EQ(mux.AnswerCount(), 2U * kRounds);
}

TEST_F(BrenkMuxConcurrency, DeliversWhileAnswersAreAdded) {
    std::atomic<int> adding{2};
    const auto add = [&] {
        for (int round = 0; round < kRounds; ++round) {
            mux.PushAnswer(Testing::RecordFor(999));
        }
        --adding;
    };
    const auto deliver = [&] {
        while (adding != 0 || mux.AnswerCount() != 0) {
            mux.SendMessageToClientIfAvailable();
        }
    };
    OnThreads(3, [&](int thread) { thread < 2 ? add() : deliver(); });
    EXPECT_EQ(mux.AnswerCount(), 0U);
}

TEST_F(BrenkMuxConcurrency, ReplacesTheConfigurationWhileRequestsAreRoutedAndGatewaysConnected) {
    std::atomic<bool> done{false};
    std::thread gateways([&] {
        while (!done) {
            mux.ConnectVirtualGateways();
            mux.PopNextMessage();
        }
    });
    std::thread client([&] {
        while (!done) {
            mux.TakeIn(Request(22, "m1", LockData()));
            std::this_thread::yield();
        }
    });
    for (int round = 0; round < 10; ++round) {
        mux.ParseConfiguration(ConfigurationText({port.Number(), port.Number()}));
    }
    done = true;
    gateways.join();
    client.join();
    EXPECT_EQ(mux.Gateways()->gateways.size(), 2U);
}

}  // namespace
}  // namespace Mux
