#include "net/WakeUp.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>

#include "net/SocketWait.h"
#include "tests/support/LoopbackSocket.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;

bool IsAwake(const WakeUp& wakeUp) {
    return WaitForEvent(wakeUp.Descriptor(), POLLIN, milliseconds(0)) == 1;
}

TEST(WakeUpTest, EndsAWaitForItsDescriptorUntilItIsCleared) {
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

TEST(WakeUpTest, WithoutADescriptorWakesNobodyAndDoesNoHarm) {
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit none = before;
    none.rlim_cur = static_cast<rlim_t>(Testing::LoopbackSocket().Descriptor());
    setrlimit(RLIMIT_NOFILE, &none);
    const WakeUp wakeUp;
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(wakeUp.Descriptor(), -1);
    wakeUp.Wake();
    wakeUp.Clear();
}

}  // namespace
}  // namespace Brenk::Net
