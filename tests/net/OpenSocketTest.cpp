#include "net/OpenSocket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "tests/support/LoopbackSocket.h"

namespace Brenk::Net {
namespace {

using Testing::LoopbackSocket;

bool IsOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) != -1;
}

class OpenSocketTest : public testing::Test {
  protected:
    OpenSocketTest() : socket_(std::make_shared<OpenSocket>(dup(near_.Descriptor()))) { near_.Close(); }

    LoopbackSocket listener_ = LoopbackSocket::Listening();
    LoopbackSocket near_ = LoopbackSocket::ConnectedTo(listener_.Port());
    LoopbackSocket far_ = listener_.Accept();
    std::shared_ptr<OpenSocket> socket_;
};

TEST_F(OpenSocketTest, TheDescriptorIsClosedWithTheLastHolder) {
    const int descriptor = socket_->Descriptor();
    auto other = socket_;
    socket_.reset();
    EXPECT_TRUE(IsOpen(descriptor));
    other.reset();
    EXPECT_FALSE(IsOpen(descriptor));
    EXPECT_TRUE(far_.WaitForEnd());
}

TEST_F(OpenSocketTest, ShuttingDownEndsTheConnectionAndKeepsTheNumber) {
    EXPECT_FALSE(socket_->IsShutDown());
    socket_->ShutDown();
    EXPECT_TRUE(socket_->IsShutDown());
    EXPECT_TRUE(far_.WaitForEnd());
    EXPECT_TRUE(IsOpen(socket_->Descriptor()));
}

TEST_F(OpenSocketTest, ShuttingDownWakesAReceiver) {
    std::atomic<ssize_t> result{-2};
    std::thread receiver([&result, socket = socket_] {
        unsigned char byte = 0;
        result = recv(socket->Descriptor(), &byte, 1, 0);
    });
    socket_->ShutDown();
    receiver.join();
    EXPECT_EQ(result, 0);
}

TEST_F(OpenSocketTest, TheNumberOfASocketInUseIsNotHandedOutAgainAfterItWasShutDown) {
    const std::shared_ptr<OpenSocket> inUse = socket_;
    socket_->ShutDown();
    socket_.reset();
    for (const LoopbackSocket& newcomer : std::vector<LoopbackSocket>(20)) {
        EXPECT_NE(newcomer.Descriptor(), inUse->Descriptor());
    }
}

void* DropWhileCancelled(void* argument) {
    pthread_cancel(pthread_self());
    static_cast<std::shared_ptr<OpenSocket>*>(argument)->reset();
    pthread_testcancel();
    return nullptr;
}

TEST_F(OpenSocketTest, ACancelledThreadCanDropTheLastHolder) {
    const int descriptor = socket_->Descriptor();
    pthread_t thread = 0;
    ASSERT_EQ(pthread_create(&thread, nullptr, DropWhileCancelled, &socket_), 0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED) << "the cancellation stays for the next cancellation point";
    EXPECT_FALSE(IsOpen(descriptor));
}

}  // namespace
}  // namespace Brenk::Net
