#include "net/PendingOutput.h"

#include <algorithm>

namespace Brenk::Net {
namespace {

// What of these pending bytes comes out of the budget.
std::size_t Shared(std::size_t size) {
    return size - std::min(size, PendingOutput::kOwnBytes);
}

}  // namespace

bool OutputBudget::Take(std::size_t bytes) {
    std::size_t left = free_;
    while (left >= bytes && !free_.compare_exchange_weak(left, left - bytes)) {
    }
    if (left < bytes) {
        return false;
    }
    const std::size_t used = total_ - (left - bytes);
    std::size_t peak = peak_;
    while (peak < used && !peak_.compare_exchange_weak(peak, used)) {
    }
    return true;
}

void OutputBudget::GiveBack(std::size_t bytes) {
    free_ += bytes;
}

PendingOutput::PendingOutput(OutputBudget& budget) : budget_(budget) {}

PendingOutput::~PendingOutput() {
    Clear();
}

bool PendingOutput::Append(const unsigned char* bytes, std::size_t count, Clock::time_point now) {
    if (count > kBytes - size_ || !budget_.Take(Shared(size_ + count) - Shared(size_))) {
        return false;
    }
    if (IsEmpty()) {
        lastTaken_ = now;
        turnBegin_ = now;
        takenInTurn_ = 0;
    }
    // What is in the budget is in the size as well, whatever is thrown: Clear() gives it back.
    size_ += count;
    AddToBlocks(bytes, count);
    return true;
}

void PendingOutput::AddToBlocks(const unsigned char* bytes, std::size_t count) {
    while (count > 0) {
        if (blocks_.empty() || blocks_.back().size() == kOwnBytes) {
            blocks_.emplace_back().reserve(kOwnBytes);
        }
        std::vector<unsigned char>& last = blocks_.back();
        const std::size_t fits = std::min(count, kOwnBytes - last.size());
        last.insert(last.end(), bytes, bytes + fits);
        bytes += fits;
        count -= fits;
    }
}

PendingOutput::Piece PendingOutput::Front() const {
    if (blocks_.empty()) {
        return {};
    }
    const std::vector<unsigned char>& first = blocks_.front();
    return {first.data() + removedOfFirst_, first.size() - removedOfFirst_};
}

void PendingOutput::RemoveFront(std::size_t count, Clock::time_point now) {
    ShrinkTo(size_ - count);
    removedOfFirst_ += count;
    if (removedOfFirst_ == blocks_.front().size()) {
        blocks_.pop_front();
        removedOfFirst_ = 0;
    }
    takenInTurn_ += count;
    if (takenInTurn_ >= kBytes || now - lastTaken_ > 2 * kStallTime) {
        turnBegin_ = now;
        takenInTurn_ = 0;
    }
    lastTaken_ = now;
}

void PendingOutput::ShrinkTo(std::size_t size) {
    budget_.GiveBack(Shared(size_) - Shared(size));
    size_ = size;
}

void PendingOutput::Clear() {
    ShrinkTo(0);
    blocks_.clear();
    removedOfFirst_ = 0;
}

PendingOutput::Clock::time_point PendingOutput::Deadline() const {
    return IsEmpty() ? Clock::time_point::max() : std::min(lastTaken_ + kStallTime, turnBegin_ + kTurnTime);
}

}  // namespace Brenk::Net
