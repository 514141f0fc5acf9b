#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/LoopbackSocket.h"
#include "tests/support/WaitUntil.h"

namespace Testing {

// What mosquitto does not do: a broker of MQTT 5 that says of itself what a test wants, and sends whatever it likes. It
// accepts all that comes, one connection after the other.
class FakeBroker {
  public:
    // `properties` are those of its CONNACK, in bytes.
    explicit FakeBroker(std::string properties = "") : properties_(std::move(properties)) {
        thread_ = std::thread([this] { Run(); });
    }
    ~FakeBroker() {
        isEnding_ = true;
        thread_.join();
    }
    FakeBroker(const FakeBroker&) = delete;
    FakeBroker& operator=(const FakeBroker&) = delete;

    int Port() const { return listening_.Port(); }

    // For the next connection that subscribes: bytes that follow the answer.
    void SendOnce(std::string bytes) {
        const std::lock_guard<std::mutex> lock(mutex_);
        next_ = std::move(bytes);
    }

    // How many packets of this type (MQTT 5, 2.1.2) came.
    std::size_t Count(unsigned type) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        std::size_t count = 0;
        for (const unsigned one : types_) {
            count += one == type ? 1 : 0;
        }
        return count;
    }

    // The first megabyte of a packet of 100.
    static std::string BeginOfLongMessage() { return Message("p", std::string(100U << 20U, 'x')).substr(0, 1U << 20U); }

    // A PUBLISH with QoS 0.
    static std::string Message(const std::string& topic, const std::string& payload) {
        return Packet(0x30, Short(topic.size()) + topic + '\0' + payload);
    }

  private:
    static std::string Short(std::size_t number) {
        return {static_cast<char>(number >> 8U), static_cast<char>(number & 0xFFU)};
    }

    static std::string Packet(int first, const std::string& rest) {
        std::string packet(1, static_cast<char>(first));
        for (std::size_t size = rest.size(); packet.size() == 1 || size != 0; size >>= 7U) {
            packet += static_cast<char>((size & 0x7FU) | (size > 0x7FU ? 0x80U : 0U));
        }
        return packet + rest;
    }

    void Run() {
        while (!isEnding_) {
            if (!listening_.IsQuietFor(std::chrono::milliseconds(5))) {
                LoopbackSocket peer = listening_.Accept();
                try {
                    while (!isEnding_ && TakePacket(peer)) {
                    }
                } catch (const std::exception&) {
                    // The link may close it at any time.
                }
            }
        }
    }

    bool TakePacket(LoopbackSocket& peer) {
        if (peer.IsQuietFor(std::chrono::milliseconds(5))) {
            return true;
        }
        const LoopbackSocket::Bytes first = peer.Receive(1);
        std::size_t size = 0;
        unsigned digit = 0x80;
        for (unsigned shift = 0; (digit & 0x80U) != 0; shift += 7) {
            const LoopbackSocket::Bytes next = peer.Receive(1);
            if (next.empty()) {
                return false;
            }
            digit = next.front();
            size += static_cast<std::size_t>(digit & 0x7FU) << shift;
        }
        const LoopbackSocket::Bytes rest = peer.Receive(size);
        Answer(peer, first.front(), std::string(rest.begin(), rest.end()));
        return true;
    }

    void Answer(const LoopbackSocket& peer, unsigned first, const std::string& rest) {
        const unsigned type = first >> 4U;
        std::string answer;
        if (type == 1) {
            answer = Packet(0x20, std::string(2, '\0') + static_cast<char>(properties_.size()) + properties_);
        } else if (type == 3 && (first & 6U) != 0) {
            const auto high = static_cast<unsigned char>(rest[0]);
            const std::size_t topic = high * 256U + static_cast<unsigned char>(rest[1]);
            answer = Packet(0x40, rest.substr(2 + topic, 2));
        } else if (type == 8) {
            answer = Packet(0x90, rest.substr(0, 2) + std::string("\0\1", 2));
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        types_.push_back(type);
        peer.SendText(type == 8 ? answer + std::exchange(next_, "") : answer);
    }

    const std::string properties_;
    LoopbackSocket listening_ = LoopbackSocket::Listening();
    mutable std::mutex mutex_;
    std::vector<unsigned> types_;
    std::string next_;
    std::atomic<bool> isEnding_{false};
    std::thread thread_;
};

}  // namespace Testing
