#include "tools/gateway-simulator/GatewayModel.h"

#include <utility>

namespace Simulator {
namespace {

// An answer bears the request's reference ID, counter and address.
Frame MakeAnswer(const Frame& request, Reply reply) {
    Frame answer;
    answer.referenceId = request.referenceId;
    answer.sequenceCounter = request.sequenceCounter;
    answer.deviceAddress = request.deviceAddress;
    answer.code = reply.code;
    answer.payload = std::move(reply.payload);
    return answer;
}

void AppendCounter(Bytes& payload, std::uint32_t counter) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        payload.push_back(static_cast<std::uint8_t>(counter >> shift));
    }
}

}  // namespace

bool GatewayModel::AddLock(const Lock& lock) {
    return locks_.emplace(lock.Address(), lock).second;
}

bool GatewayModel::RemoveLock(std::uint32_t address) {
    return locks_.erase(address) > 0;
}

Lock* GatewayModel::FindLock(std::uint32_t address) {
    const auto found = locks_.find(address);
    return found == locks_.end() ? nullptr : &found->second;
}

std::vector<Lock> GatewayModel::Locks() const {
    std::vector<Lock> locks;
    for (const auto& [address, lock] : locks_) {
        locks.push_back(lock);
    }
    return locks;
}

std::vector<LockStatus> GatewayModel::LockStatuses(Lock::TimePoint now) const {
    std::vector<LockStatus> statuses;
    for (const auto& [address, lock] : locks_) {
        statuses.push_back(StatusOf(lock, now));
    }
    return statuses;
}

bool GatewayModel::AcceptCounter(std::uint32_t requestCounter) {
    if (requestCounter != counter_ + 1U) {
        return false;
    }
    counter_ = requestCounter;
    return true;
}

Frame GatewayModel::AnswerCounterError(const Frame& request) const {
    return AnswerResult(request, static_cast<std::uint8_t>(Result::kSequenceCounterError));
}

Frame GatewayModel::AnswerRequest(const Frame& request, Lock::TimePoint now) {
    Lock* lock = FindLock(request.deviceAddress);
    if (lock == nullptr) {
        return MakeAnswer(request, ResultReply(Result::kNoRoute));
    }
    return MakeAnswer(request, CarryOut(*lock, request.code, request.payload, now));
}

Frame GatewayModel::AnswerResult(const Frame& request, std::uint8_t result) const {
    Reply reply = {kResultAnswer, {result}};
    if (result == static_cast<std::uint8_t>(Result::kSequenceCounterError)) {
        AppendCounter(reply.payload, counter_);
    }
    return MakeAnswer(request, std::move(reply));
}

}  // namespace Simulator
