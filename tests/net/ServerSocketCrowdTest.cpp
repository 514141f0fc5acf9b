#include <gtest/gtest.h>
#include <plog/Log.h>

#include <atomic>
#include <cstddef>
#include <vector>

#include "tests/net/TestServer.h"
#include "tests/support/WaitUntil.h"

extern "C" int __real_malloc_trim(std::size_t pad);

namespace {

std::atomic<int> trims{0};

}  // namespace

extern "C" int __wrap_malloc_trim(std::size_t pad) {
    ++trims;
    return __real_malloc_trim(pad);
}

namespace Brenk::Net {
namespace {

using Testing::LoopbackSocket;
using Testing::WaitUntil;

class ServerSocketCrowdTest : public Testing::TestServer {
  protected:
    ServerSocketCrowdTest() {
        trims = 0;
        plog::get()->setMaxSeverity(plog::info);  // the debug line of a send holds all its bytes
        StartAll();
    }

    std::vector<LoopbackSocket> Connect(std::size_t count) {
        std::vector<LoopbackSocket> clients;
        while (clients.size() < count) {
            clients.push_back(ConnectClient());
        }
        return clients;
    }

    // A packet that the server has taken shows that a pass knew all clients that came before.
    void AwaitPass(LoopbackSocket& client) {
        const int before = Count("received");
        client.Send(PacketWith("{}"));
        ASSERT_TRUE(WaitForEvents("received", before + 1));
    }
};

TEST_F(ServerSocketCrowdTest, MemoryIsGivenBackOnceWhenHalfOfACrowdHasLeft) {
    std::vector<LoopbackSocket> clients = Connect(80);
    AwaitPass(clients.front());
    EXPECT_EQ(trims, 0);
    clients.resize(41);
    ASSERT_TRUE(WaitForEvents("deleted", 39));
    AwaitPass(clients.front());
    EXPECT_EQ(trims, 0);
    clients.resize(40);
    ASSERT_TRUE(WaitForEvents("deleted", 40));
    AwaitPass(clients.front());
    EXPECT_EQ(trims, 1);
    clients.resize(1);
    ASSERT_TRUE(WaitForEvents("deleted", 79));
    AwaitPass(clients.front());
    EXPECT_EQ(trims, 1);
}

TEST_F(ServerSocketCrowdTest, MemoryIsGivenBackWhenAllOfACrowdHaveLeft) {
    {
        std::vector<LoopbackSocket> clients = Connect(64);
        AwaitPass(clients.front());
    }
    EXPECT_TRUE(WaitUntil([] { return trims == 1; }));
}

TEST_F(ServerSocketCrowdTest, AFewClientsComeAndGoWithoutIt) {
    std::vector<LoopbackSocket> clients = Connect(63);
    AwaitPass(clients.front());
    clients.resize(1);
    ASSERT_TRUE(WaitForEvents("deleted", 62));
    AwaitPass(clients.front());
    EXPECT_EQ(trims, 0);
}

TEST_F(ServerSocketCrowdTest, MemoryIsGivenBackWhenMuchPendingOutputHasGone) {
    std::vector<LoopbackSocket> clients = Connect(2);
    for (const int descriptor : server_->ConnectedDescriptors()) {
        while (server_->Send(descriptor, std::vector<unsigned char>(500000))) {
        }
    }
    EXPECT_TRUE(WaitUntil([] { return trims > 0; }));
}

}  // namespace
}  // namespace Brenk::Net
