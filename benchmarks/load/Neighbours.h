#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks/load/Connection.h"

namespace Load {

// Clients that behave badly within the rules of the protocol, each with a thread of its own, for as long as the object
// lives.
//
// The silent never read and the trickling read 3 KB a second, while 4 MB of answers are due to each; all of them
// together ask for 15 MB a second, a quarter of the answers that a server delivers. The others send packets of two
// bytes without a pause.
class Neighbours {
  public:
    struct Numbers {
        std::size_t silent = 0;
        std::size_t trickling = 0;
        std::size_t withShortPackets = 0;
    };

    // Connects them all; returns when each has sent something.
    Neighbours(const Target& target, const Numbers& numbers);
    ~Neighbours();
    Neighbours(const Neighbours&) = delete;
    Neighbours& operator=(const Neighbours&) = delete;

    // Whether the server has closed none of them yet.
    bool AreAllConnected() const { return allConnected_; }

    // "none", "5 silent", "1 trickling, 10 with short packets".
    static std::string Describe(const Numbers& numbers);

  private:
    class Wire;
    enum class Reading { kNever, kTrickle };

    void Start(std::size_t count, const Target& target, void (Neighbours::*behave)(Wire& wire));
    void StaySilent(Wire& wire);
    void Trickle(Wire& wire);
    void SendShortPackets(Wire& wire);
    void AskForMuch(Wire& wire, Reading reading);

    const std::size_t asking_;
    std::atomic<std::size_t> begun_{0};
    std::atomic<bool> allConnected_{true};
    std::atomic<bool> ends_{false};
    std::vector<std::thread> threads_;
};

}  // namespace Load
