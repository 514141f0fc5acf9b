#include "net/OpenSocket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>

#include "tests/support/LoopbackSocket.h"

namespace Brenk::Net {
namespace {

bool IsOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) != -1;
}

class OpenSocketTest : public testing::Test {
  protected:
    OpenSocketTest() : socket_(std::make_shared<OpenSocket>(dup(near_.Descriptor()))) { near_.Close(); }

    Testing::LoopbackSocket listener_ = Testing::LoopbackSocket::Listening();
    Testing::LoopbackSocket near_ = Testing::LoopbackSocket::ConnectedTo(listener_.Port());
    Testing::LoopbackSocket far_ = listener_.Accept();
    std::shared_ptr<OpenSocket> socket_;
};

TEST_F(OpenSocketTest, ShuttingDownEndsTheConnectionAndTheLastHolderClosesTheDescriptor) {
    const int descriptor = socket_->Descriptor();
    auto other = socket_;
    EXPECT_FALSE(socket_->IsShutDown());
    socket_->ShutDown();
    EXPECT_TRUE(socket_->IsShutDown());
    EXPECT_TRUE(far_.WaitForEnd());
    socket_.reset();
    EXPECT_TRUE(IsOpen(descriptor)) << "its number could be handed out again";
    other.reset();
    EXPECT_FALSE(IsOpen(descriptor));
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
    EXPECT_TRUE(far_.WaitForEnd());
}

}  // namespace
}  // namespace Brenk::Net
