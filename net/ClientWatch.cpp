#include "net/ClientWatch.h"

#include <algorithm>
#include <iterator>

#include "net/SocketWait.h"

namespace Brenk::Net {
namespace {

using std::chrono::milliseconds;

constexpr std::chrono::seconds kWindowPeriod{10};

}  // namespace

void ClientWatch::Collect(const ClientTable& table) {
    const std::uint64_t version = table.CopyNewer(version_, clients_);
    if (version == version_) {
        return;
    }
    events_.clear();
    for (const ClientPointer& client : clients_) {
        events_.push_back({client->Descriptor(), POLLIN, 0});
    }
    events_.push_back({outputPending_.Descriptor(), POLLIN, 0});
    version_ = version;
}

bool ClientWatch::WaitUntil(Clock::time_point end) {
    const auto until = std::min(end, WatchForOutput());
    const auto wait = std::max(std::chrono::ceil<milliseconds>(until - Clock::now()), milliseconds(0));
    if (WaitForEvents(events_, wait) == -1) {
        return false;
    }
    if (events_.back().revents != 0) {
        outputPending_.Clear();
    }
    return true;
}

// Sets what each client is waited for, and returns when the first of them has to be looked at all the same.
ClientWatch::Clock::time_point ClientWatch::WatchForOutput() {
    auto first = Clock::time_point::max();
    for (std::size_t index = 0; index < clients_.size(); ++index) {
        const ClientOutput& output = clients_.at(index)->Output();
        events_.at(index).events = output.IsPending() ? POLLIN | POLLOUT : POLLIN;
        if (output.IsPending()) {
            first = std::min(first, output.Deadline());
        }
    }
    return first;
}

bool ClientWatch::HasInput() const {
    return std::any_of(events_.begin(), std::prev(events_.end()), IsInput);
}

bool ClientWatch::IsToBeSentOn(std::size_t index) const {
    const ClientConnection& client = *clients_.at(index);
    if (!client.Output().IsPending() || client.IsShutDown()) {
        return false;
    }
    const bool takesMore = (events_.at(index).revents & POLLOUT) != 0;
    return takesMore || client.Output().Deadline() <= Clock::now();
}

void ClientWatch::LookAtWindows() {
    const auto now = Clock::now();
    if (now < nextLookAtWindows_) {
        return;
    }
    nextLookAtWindows_ = now + kWindowPeriod;
    for (const ClientPointer& client : clients_) {
        client->LookAtWindow();
    }
}

void ClientWatch::ShrinkToFit() {
    clients_.shrink_to_fit();
    events_.shrink_to_fit();
}

}  // namespace Brenk::Net
