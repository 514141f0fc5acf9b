#include "benchmarks/micro/LoopbackClients.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

namespace Benchmark {
namespace {

constexpr int kFirstNumber = 1024;
constexpr rlim_t kDescriptors = 4096;

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void MakeRoom() {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min(limit.rlim_max, kDescriptors);
    setrlimit(RLIMIT_NOFILE, &limit);
}

sockaddr_in AddressOf(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// The server may only be about to listen.
void Connect(int descriptor, int port) {
    constexpr int kTries = 5000;
    const sockaddr_in address = AddressOf(port);
    for (int tries = 0; tries < kTries; ++tries) {
        if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    Fail("connect");
}

int NewClient(int port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor == -1) {
        Fail("socket");
    }
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstNumber);
    close(descriptor);
    if (moved == -1) {
        Fail("fcntl");
    }
    Connect(moved, port);
    return moved;
}

}  // namespace

int FreePort() {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = AddressOf(0);
    socklen_t size = sizeof address;
    if (bind(descriptor, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        Fail("bind");
    }
    close(descriptor);
    return ntohs(address.sin_port);
}

LoopbackClients::LoopbackClients(int port, std::size_t count) {
    MakeRoom();
    while (descriptors_.size() < count) {
        descriptors_.push_back(NewClient(port));
    }
}

LoopbackClients::~LoopbackClients() {
    for (const int descriptor : descriptors_) {
        close(descriptor);
    }
}

void LoopbackClients::SendFromEach(const Bytes& bytes) const {
    for (const int descriptor : descriptors_) {
        if (send(descriptor, bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
            Fail("send");
        }
    }
}

void LoopbackClients::ReceiveTexts(std::size_t count) {
    constexpr std::string_view kEnd = "}}";
    std::string received;
    std::array<char, 65536> chunk{};
    std::size_t position = 0;
    for (std::size_t seen = 0; seen < count;) {
        const ssize_t size = recv(descriptors_.front(), chunk.data(), chunk.size(), 0);
        if (size < 1) {
            Fail("recv");
        }
        received.append(chunk.data(), static_cast<std::size_t>(size));
        for (std::size_t end = received.find(kEnd, position); end != std::string::npos;
             end = received.find(kEnd, position)) {
            position = end + kEnd.size();
            ++seen;
        }
    }
}

}  // namespace Benchmark
