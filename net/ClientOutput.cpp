#include "net/ClientOutput.h"

#include <sys/socket.h>

#include <cerrno>

namespace Brenk::Net {

ClientOutput::ClientOutput(int descriptor, OutputBudget& budget) : descriptor_(descriptor), pending_(budget) {}

ClientOutput::Outcome ClientOutput::Send(const std::vector<unsigned char>& data) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (error_ != 0) {
        return {error_, false};
    }
    const bool wasPending = isPending_;
    wasSent_ = true;
    Begin();
    const int error = Finish(SendBehindPending(data));
    return {error, isPending_ && !wasPending};
}

int ClientOutput::SendOn() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (error_ != 0) {
        return error_;
    }
    Begin();
    const int error = OfferPending();
    // Whoever was too slow for want of a chance, as when this process was stopped, has had one now: taking something
    // begins both times anew.
    const bool isTooSlow = error == 0 && pending_.Deadline() <= PendingOutput::Clock::now();
    return Finish(isTooSlow ? EAGAIN : error);
}

PendingOutput::Clock::time_point ClientOutput::Deadline() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return pending_.Deadline();
}

// An exception, or the unwinding of a cancelled thread, leaves the stream as one that is broken and has to be looked
// at.
void ClientOutput::Begin() {
    error_ = EPIPE;
    isPending_ = true;
}

int ClientOutput::Finish(int error) {
    if (error != 0) {
        pending_.Clear();
    }
    error_ = error;
    isPending_ = !pending_.IsEmpty();
    return error;
}

int ClientOutput::SendBehindPending(const std::vector<unsigned char>& data) {
    if (const int error = OfferPending()) {
        return error;
    }
    std::size_t taken = 0;
    if (pending_.IsEmpty()) {
        if (const int error = Offer(data.data(), data.size(), taken)) {
            return error;
        }
    }
    const bool fits = pending_.Append(data.data() + taken, data.size() - taken, PendingOutput::Clock::now());
    return fits ? 0 : EAGAIN;
}

int ClientOutput::OfferPending() {
    for (PendingOutput::Piece piece = pending_.Front(); piece.count > 0; piece = pending_.Front()) {
        std::size_t taken = 0;
        const int error = Offer(piece.bytes, piece.count, taken);
        if (taken > 0) {
            pending_.RemoveFront(taken, PendingOutput::Clock::now());
        }
        if (error != 0 || taken < piece.count) {
            return error;
        }
    }
    return 0;
}

// Returns 0 also when the socket takes only a part, or nothing.
int ClientOutput::Offer(const unsigned char* bytes, std::size_t count, std::size_t& taken) const {
    while (taken < count) {
        const ssize_t sent = send(descriptor_, bytes + taken, count - taken, MSG_DONTWAIT);
        if (sent >= 0) {
            taken += static_cast<std::size_t>(sent);
        } else if (errno == EAGAIN) {
            return 0;
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

}  // namespace Brenk::Net
