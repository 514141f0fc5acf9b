#include "threading/Thread.h"

#include <gtest/gtest.h>

namespace Threading {
namespace {

struct Owner {};

// Stands in for a thread: keeps what it was started with.
struct FakeThread {
    bool Start(void* argument) {
        started = argument;
        return succeeds;
    }

    bool succeeds = true;
    void* started = nullptr;
};

TEST(OwnerBlock, TheStartedProcedureFindsItsOwnerInTheBlockAndFreesIt) {
    Owner owner;
    FakeThread thread;
    EXPECT_TRUE(StartWithOwner(thread, &owner));
    EXPECT_EQ(TakeOwner<Owner>(thread.started), &owner);
}

TEST(OwnerBlock, AThreadThatCannotBeStartedLeavesNoBlockBehind) {
    Owner owner;
    FakeThread thread;
    thread.succeeds = false;
    EXPECT_FALSE(StartWithOwner(thread, &owner));  // the leak check sees a block that nobody frees
}

}  // namespace
}  // namespace Threading
