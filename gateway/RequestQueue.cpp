#include "gateway/RequestQueue.h"

#include <utility>

#include "diagnostics/Log.h"

namespace Brenk {
namespace {

constexpr std::int32_t kKeepAliveSeconds = 27;

}  // namespace

MessageRequestInfo::~MessageRequestInfo() {
    MUX_OPERATION();
    if (message != nullptr) {
        MUX_LOG(plog::verbose) << "Internal request message set. Deallocate message memory.";
    }
}

bool MessageRequestInfo::IsSequenceRefresh() const {
    return IsSequenceRefresh(id);
}

bool MessageRequestInfo::IsSequenceRefresh(const std::string& requestID) {
    return requestID.find(kSequenceRefreshMark) != std::string::npos;
}

void RequestQueue::Start() {
    isStarted_ = true;
}

bool RequestQueue::IsStarted() const {
    return isStarted_;
}

void RequestQueue::Append(std::list<Request>& requests) {
    requests_.With([&](std::list<Request>& queue) { queue.splice(queue.end(), requests); });
}

bool RequestQueue::Take(VirtualGatewayStatuses status, Request& request) {
    const bool isTaken = requests_.With([&](std::list<Request>& queue) {
        if (queue.empty() || !MayTake(status, queue.front())) {
            return false;
        }
        request = std::move(queue.front());
        queue.pop_front();
        return true;
    });
    hasTakenRequest_ = hasTakenRequest_ || isTaken;
    return isTaken;
}

bool RequestQueue::MayTake(VirtualGatewayStatuses status, const Request& request) const {
    return hasTakenRequest_ || status == READY ||
           (status == CONNECTED && request != nullptr && request->IsSequenceRefresh());
}

bool RequestQueue::BeginKeepAlive(std::time_t now) {
    if (static_cast<std::int32_t>(now - lastKeepAliveTime_) < kKeepAliveSeconds) {
        return false;
    }
    lastKeepAliveTime_ = now;
    return true;
}

std::time_t RequestQueue::LastSendTime() const {
    return lastSendTime_;
}

void RequestQueue::SetLastSendTime(std::time_t time) {
    lastSendTime_ = time;
}

}  // namespace Brenk
