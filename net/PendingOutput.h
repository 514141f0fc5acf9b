#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <list>
#include <vector>

namespace Brenk::Net {

// The bytes that may be pending for all clients together, besides each client's own share. Any thread.
class OutputBudget {
  public:
    explicit OutputBudget(std::size_t bytes = kBytes) : total_(bytes), free_(bytes) {}

    // False, with nothing taken, when fewer are left.
    bool Take(std::size_t bytes);
    void GiveBack(std::size_t bytes);

    std::size_t Used() const { return total_ - free_; }

    // The most that was used since this was asked last.
    std::size_t TakePeak() { return peak_.exchange(Used()); }

    static constexpr std::size_t kBytes = 16UL * 1024 * 1024;

  private:
    const std::size_t total_;
    std::atomic<std::size_t> free_;
    std::atomic<std::size_t> peak_{0};
};

// Output that one client's socket has not accepted yet: a bounded queue of bytes with a deadline by which the client
// must take some.
//
// A client is too slow if it takes nothing for kStallTime, or less than kBytes within kTurnTime. Both times start with
// the first pending byte. The second restarts with each kBytes taken, and when bytes are taken after a gap so long that
// this process must have been stopped, which is not the client's fault.
//
// The first kOwnBytes are reserved for the client; the rest comes out of the common budget.
//
// Not thread-safe. The budget must outlive it. Memory is allocated and freed in blocks of kOwnBytes.
class PendingOutput {
  public:
    using Clock = std::chrono::steady_clock;

    explicit PendingOutput(OutputBudget& budget);
    ~PendingOutput();
    PendingOutput(const PendingOutput&) = delete;
    PendingOutput& operator=(const PendingOutput&) = delete;

    bool IsEmpty() const { return size_ == 0; }
    std::size_t Size() const { return size_; }

    // Appends bytes. False, with nothing added, if there is no room for all of them here or in the budget.
    // std::bad_alloc may leave some of them added.
    bool Append(const unsigned char* bytes, std::size_t count, Clock::time_point now);

    // The oldest bytes that lie together; empty when nothing is pending. Valid until the next change.
    struct Piece {
        const unsigned char* bytes = nullptr;
        std::size_t count = 0;
    };
    Piece Front() const;

    // Drops the first `count` bytes of Front(), at least one: the socket has taken them.
    void RemoveFront(std::size_t count, Clock::time_point now);

    // Drops everything.
    void Clear();

    // When the client becomes too slow unless it takes something; Clock::time_point::max() when nothing is pending.
    Clock::time_point Deadline() const;

    static constexpr std::size_t kBytes = 1024UL * 1024;
    static constexpr std::size_t kOwnBytes = 16UL * 1024;
    static constexpr std::chrono::seconds kStallTime{2};
    static constexpr std::chrono::seconds kTurnTime{10};

  private:
    void AddToBlocks(const unsigned char* bytes, std::size_t count);
    void ShrinkTo(std::size_t size);

    OutputBudget& budget_;
    std::list<std::vector<unsigned char>> blocks_;
    std::size_t removedOfFirst_ = 0;
    std::size_t size_ = 0;
    Clock::time_point lastTaken_;
    Clock::time_point turnBegin_;
    std::size_t takenInTurn_ = 0;
};

}  // namespace Brenk::Net
