#include "net/FreeDescriptors.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <vector>

#include "tests/support/LoopbackSocket.h"
#include "tests/support/ResourceLimit.h"

namespace Brenk::Net {
namespace {

using Testing::LoopbackSocket;

class FreeDescriptorsTest : public testing::Test {
  protected:
    // False when this machine does not allow that many.
    bool Allow(int count) { return limit_.Set(static_cast<rlim_t>(count)); }

    static int LowestFree() { return LoopbackSocket().Descriptor(); }

    Testing::ResourceLimit limit_{RLIMIT_NOFILE};
};

TEST_F(FreeDescriptorsTest, AreCountedWhateverNumbersAreOpen) {
    ASSERT_TRUE(Allow(700));
    const std::size_t before = CountFreeDescriptors(1000000);
    EXPECT_LT(before, 700U);
    EXPECT_GT(before, 400U);
    std::vector<LoopbackSocket> sockets(300);  // beyond what is asked about in one call
    EXPECT_EQ(CountFreeDescriptors(1000000), before - 300);
    sockets.erase(sockets.begin() + 10, sockets.begin() + 110);
    EXPECT_EQ(CountFreeDescriptors(1000000), before - 200);
}

TEST_F(FreeDescriptorsTest, AreThoseThatAreAllowed) {
    ASSERT_TRUE(Allow(400));
    const std::size_t of400 = CountFreeDescriptors(1000);
    ASSERT_TRUE(Allow(417));
    EXPECT_EQ(CountFreeDescriptors(1000), of400 + 17);
    ASSERT_TRUE(Allow(LowestFree()));
    EXPECT_EQ(CountFreeDescriptors(1000), 0U) << "a limit may be below what is open";
}

TEST_F(FreeDescriptorsTest, AreCountedUpToAnEndAndUntilThereAreEnough) {
    ASSERT_TRUE(Allow(700));
    const auto lowest = static_cast<std::size_t>(LowestFree());
    EXPECT_EQ(CountFreeDescriptors(lowest, 100), 0U);
    EXPECT_EQ(CountFreeDescriptors(lowest + 1, 100), 1U);
    EXPECT_EQ(CountFreeDescriptors(lowest + 600, 7), 7U);
    EXPECT_EQ(CountFreeDescriptors(7), 7U);
    EXPECT_EQ(CountFreeDescriptors(0), 0U);
}

TEST_F(FreeDescriptorsTest, AreKeptInReserveByTheQuarterAnd48AtMost) {
    ASSERT_TRUE(Allow(32));
    EXPECT_EQ(DescriptorReserve(), 8U);
    ASSERT_TRUE(Allow(191));
    EXPECT_EQ(DescriptorReserve(), 47U);
    ASSERT_TRUE(Allow(1024));
    EXPECT_EQ(DescriptorReserve(), 48U);
}

TEST_F(FreeDescriptorsTest, AreMovedAboveThoseOfClientsAndBackWhereThatIsAllowed) {
    const int low = LowestFree();
    const int opened = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(opened, low);
    ASSERT_TRUE(Allow(1024));
    EXPECT_EQ(MoveAboveClients(opened), opened);
    EXPECT_EQ(MoveToLowestNumber(opened), opened);
    ASSERT_TRUE(Allow(LowestFree()));
    EXPECT_EQ(MoveToLowestNumber(opened), opened) << "no number is free";
    EXPECT_EQ(fcntl(opened, F_GETFD), FD_CLOEXEC);
    if (!Allow(1200)) {
        GTEST_SKIP() << "this machine allows fewer than 1200 descriptors";
    }
    LoopbackSocket moved(MoveAboveClients(opened));
    EXPECT_GE(moved.Descriptor(), 1024);
    EXPECT_EQ(fcntl(moved.Descriptor(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(opened, F_GETFD), -1) << "the number is a client's now";
    EXPECT_EQ(MoveAboveClients(moved.Descriptor()), moved.Descriptor()) << "it is there already";

    const LoopbackSocket back(MoveToLowestNumber(fcntl(moved.Descriptor(), F_DUPFD_CLOEXEC, 1100)));
    EXPECT_EQ(back.Descriptor(), low);
    EXPECT_EQ(fcntl(1100, F_GETFD), -1);
    EXPECT_EQ(fcntl(back.Descriptor(), F_GETFD), FD_CLOEXEC);
}

}  // namespace
}  // namespace Brenk::Net
