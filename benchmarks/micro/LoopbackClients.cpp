#include "benchmarks/micro/LoopbackClients.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

#include "tests/support/WaitUntil.h"

namespace Benchmark {
namespace {

using Testing::LoopbackSocket;

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

LoopbackSocket NewClient(int port) {
    const int moved = fcntl(LoopbackSocket().Descriptor(), F_DUPFD_CLOEXEC, kFirstNumber);
    if (moved == -1) {
        Fail("fcntl");
    }
    LoopbackSocket client(moved);
    // The server may only be about to listen.
    const bool isConnected = Testing::WaitUntil([&] {
        try {
            client.ConnectTo(port);
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    });
    if (!isConnected) {
        Fail("connect");
    }
    return client;
}

}  // namespace

LoopbackClients::LoopbackClients(int port, std::size_t count) {
    MakeRoom();
    while (clients_.size() < count) {
        clients_.push_back(NewClient(port));
    }
}

void LoopbackClients::SendFromEach(const LoopbackSocket::Bytes& bytes) const {
    for (const LoopbackSocket& client : clients_) {
        client.Send(bytes);
    }
}

// By itself, since looking for the end of each text would be part of what is measured.
void LoopbackClients::ReceiveTexts(std::size_t count) {
    constexpr std::string_view kEnd = "}}";
    std::string received;
    std::array<char, 65536> chunk{};
    std::size_t position = 0;
    for (std::size_t seen = 0; seen < count;) {
        const ssize_t size = recv(clients_.front().Descriptor(), chunk.data(), chunk.size(), 0);
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
