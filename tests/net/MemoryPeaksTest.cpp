#include "net/MemoryPeaks.h"

#include <gtest/gtest.h>
#include <plog/Log.h>

#include <atomic>
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

class MemoryPeaksTest : public Testing::TestServer {
  protected:
    MemoryPeaksTest() { trims = 0; }

    // How often memory has been given back by the time there are `count` clients.
    int TrimsWith(std::size_t count) {
        constexpr int kFirstNumber = 2000000;  // no open descriptor has it
        for (; clients_.size() < count; table_.Add(clients_.back())) {
            clients_.push_back(table_.NewClient(kFirstNumber + static_cast<int>(clients_.size())));
        }
        for (; clients_.size() > count; clients_.pop_back()) {
            table_.Remove(clients_.back());
        }
        watch_.Collect(table_);
        peaks_.ReleaseMemoryAfterPeak(watch_, budget_);
        return trims;
    }

    OutputBudget budget_;
    ClientTable table_;
    std::vector<ClientPointer> clients_;
    ClientWatch watch_;
    MemoryPeaks peaks_;
};

TEST_F(MemoryPeaksTest, MemoryIsGivenBackOnceWhenHalfOfACrowdHasLeft) {
    EXPECT_EQ(TrimsWith(80), 0);
    EXPECT_EQ(TrimsWith(41), 0);
    EXPECT_EQ(TrimsWith(40), 1);
    EXPECT_EQ(TrimsWith(0), 1);
}

TEST_F(MemoryPeaksTest, ACrowdIsOf64Clients) {
    EXPECT_EQ(TrimsWith(63), 0);
    EXPECT_EQ(TrimsWith(0), 0);
    EXPECT_EQ(TrimsWith(64), 0);
    EXPECT_EQ(TrimsWith(0), 1);
}

TEST_F(MemoryPeaksTest, MemoryIsGivenBackOnceASecondWhenHalfOfMuchPendingOutputHasGone) {
    budget_.Take(512UL * 1024);
    budget_.GiveBack(256UL * 1024 - 1);
    EXPECT_EQ(TrimsWith(0), 0);
    budget_.GiveBack(1);
    EXPECT_EQ(TrimsWith(0), 1);
    budget_.Take(512UL * 1024);
    budget_.GiveBack(768UL * 1024);
    EXPECT_EQ(TrimsWith(0), 1);
    EXPECT_TRUE(Testing::WaitUntil([this] { return TrimsWith(0) == 2; }));
}

TEST_F(MemoryPeaksTest, TheReceiveThreadLooksForIt) {
    plog::get()->setMaxSeverity(plog::info);  // the debug line of a send holds all its bytes
    StartAll();
    const Testing::LoopbackSocket client = ConnectClient();
    while (server_->Send(NewestDescriptor(), Bytes(500000))) {
    }
    EXPECT_TRUE(Testing::WaitUntil([] { return trims > 0; }));
}

}  // namespace
}  // namespace Brenk::Net
