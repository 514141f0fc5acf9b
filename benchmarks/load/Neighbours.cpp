#include "benchmarks/load/Neighbours.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <asio.hpp>
#include <chrono>
#include <memory>

#include "benchmarks/load/Requests.h"
#include "benchmarks/load/Waiting.h"

namespace Load {
namespace {

// An answer repeats the request's ID. 70 of these are 4 MB, and all neighbours together ask for 250 a second.
constexpr std::size_t kIdBytes = 60000;
constexpr int kRequests = 70;
constexpr std::chrono::milliseconds kBetweenRequests{4};

// 300 bytes each 100 ms.
constexpr std::size_t kTrickleBytes = 300;
constexpr std::chrono::milliseconds kBetweenReads{100};

// So long a wait for the server to take something lets a thread see that it is to end.
constexpr timeval kSendTimeout = {0, 100000};

}  // namespace

// The connection of one neighbour. Its receive buffer is small: what is due to it stays with the server.
class Neighbours::Wire {
  public:
    explicit Wire(const Target& target) : socket_(Connect(loop_, target)) {
        socket_.set_option(asio::socket_base::receive_buffer_size(1));
        setsockopt(socket_.native_handle(), SOL_SOCKET, SO_SNDTIMEO, &kSendTimeout, sizeof kSendTimeout);
    }

    // Sends everything unless `ends` becomes true meanwhile. False when the server has closed the connection.
    bool Send(const std::string& bytes, const std::atomic<bool>& ends) {
        std::size_t sent = 0;
        while (sent < bytes.size() && !ends) {
            const ssize_t count = send(socket_.native_handle(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count == -1 && errno != EAGAIN && errno != EINTR) {
                return false;
            }
            sent += count == -1 ? 0 : static_cast<std::size_t>(count);
        }
        return true;
    }

    void ReadAFew() {
        std::array<char, kTrickleBytes> bytes{};
        static_cast<void>(recv(socket_.native_handle(), bytes.data(), bytes.size(), MSG_DONTWAIT));
    }

  private:
    asio::io_context loop_;
    asio::ip::tcp::socket socket_;
};

Neighbours::Neighbours(const Target& target, const Numbers& numbers) : asking_(numbers.silent + numbers.trickling) {
    Start(numbers.silent, target, &Neighbours::StaySilent);
    Start(numbers.trickling, target, &Neighbours::Trickle);
    Start(numbers.withShortPackets, target, &Neighbours::SendShortPackets);
    WaitUntil([this] { return begun_ == threads_.size(); }, "the neighbours");
}

Neighbours::~Neighbours() {
    ends_ = true;
    for (std::thread& thread : threads_) {
        thread.join();
    }
}

std::string Neighbours::Describe(const Numbers& numbers) {
    std::string text;
    const auto add = [&text](std::size_t count, const char* kind) {
        if (count > 0) {
            text += (text.empty() ? "" : ", ") + std::to_string(count) + kind;
        }
    };
    add(numbers.silent, " silent");
    add(numbers.trickling, " trickling");
    add(numbers.withShortPackets, " with short packets");
    return text.empty() ? "none" : text;
}

void Neighbours::Start(std::size_t count, const Target& target, void (Neighbours::*behave)(Wire& wire)) {
    for (std::size_t number = 0; number < count; ++number) {
        threads_.emplace_back([this, behave, wire = std::make_shared<Wire>(target)] { (this->*behave)(*wire); });
    }
}

void Neighbours::StaySilent(Wire& wire) {
    AskForMuch(wire, Reading::kNever);
}

void Neighbours::Trickle(Wire& wire) {
    AskForMuch(wire, Reading::kTrickle);
}

// Behind its last request the neighbour sends single bytes of a packet that never ends: only who sends is told that the
// connection is closed while much is still to be read from it.
void Neighbours::AskForMuch(Wire& wire, Reading reading) {
    const std::string request = RefusedRequest(std::string(kIdBytes, 'x'));
    const std::string partOfPacket(1, '\xFF');
    const auto between = kBetweenRequests * static_cast<int>(asking_);
    auto nextRead = std::chrono::steady_clock::now();
    for (int number = 0; !ends_; ++number) {
        if (!wire.Send(number < kRequests ? request : partOfPacket, ends_)) {
            allConnected_ = false;
            return;
        }
        begun_ += number == 0 ? 1U : 0U;
        const auto now = std::chrono::steady_clock::now();
        if (reading == Reading::kTrickle && now >= nextRead) {
            wire.ReadAFew();
            nextRead = now + kBetweenReads;
        }
        std::this_thread::sleep_for(between);
    }
}

void Neighbours::SendShortPackets(Wire& wire) {
    std::string packets;
    for (int number = 0; number < 32768; ++number) {
        packets += {'\x02', '\0'};
    }
    ++begun_;
    while (!ends_ && wire.Send(packets, ends_)) {
    }
}

}  // namespace Load
