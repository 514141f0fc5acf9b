#include "tools/gateway-simulator/LockCommands.h"

#include <array>
#include <chrono>

namespace Simulator {
namespace {

using std::chrono::seconds;

seconds ReadSeconds(const Bytes& payload, std::size_t offset) {
    return seconds((payload.at(offset) << 8U) | payload.at(offset + 1));
}

// Payload: setup number, option, card length, card. The length must be that of the card which follows.
std::optional<Whitelist::Entry> ReadEntry(const Bytes& payload) {
    constexpr std::size_t kCardOffset = 3;
    if (payload.size() < kCardOffset || payload.at(2) != payload.size() - kCardOffset) {
        return std::nullopt;
    }
    return Whitelist::Entry{payload.at(0), payload.at(1), Bytes(payload.begin() + kCardOffset, payload.end())};
}

Reply GetStatus(Lock& lock, const Bytes& /*payload*/, Lock::TimePoint /*now*/) {
    return {kStatusAnswer, Bytes(lock.Status().begin(), lock.Status().end())};
}

Reply AddCard(Lock& lock, const Bytes& payload, Lock::TimePoint /*now*/) {
    const std::optional<Whitelist::Entry> entry = ReadEntry(payload);
    return ResultReply(entry ? lock.Cards().Add(*entry) : Result::kDataLengthMismatch);
}

Reply RemoveCard(Lock& lock, const Bytes& payload, Lock::TimePoint /*now*/) {
    const std::optional<Whitelist::Entry> entry = ReadEntry(payload);
    return ResultReply(entry ? lock.Cards().Remove(*entry) : Result::kDataLengthMismatch);
}

Reply ClearCards(Lock& lock, const Bytes& /*payload*/, Lock::TimePoint /*now*/) {
    lock.Cards().Clear();
    return ResultReply(Result::kOk);
}

template <bool kEnabled>
Reply SwitchCards(Lock& lock, const Bytes& /*payload*/, Lock::TimePoint /*now*/) {
    lock.Cards().SetEnabled(kEnabled);
    return ResultReply(Result::kOk);
}

Reply DenyAccess(Lock& /*lock*/, const Bytes& /*payload*/, Lock::TimePoint /*now*/) {
    return ResultReply(Result::kOk);
}

// Payload: for how many seconds the lock is open.
Reply OpenAndClose(Lock& lock, const Bytes& payload, Lock::TimePoint now) {
    lock.OpenFor(seconds(payload.at(0)), now);
    return ResultReply(Result::kOk);
}

// Payload: a first value that this lock does not use, then for how many seconds it is open, 0 being until closed.
Reply Open(Lock& lock, const Bytes& payload, Lock::TimePoint now) {
    const seconds duration = ReadSeconds(payload, 2);
    if (duration == seconds(0)) {
        lock.Open();
    } else {
        lock.OpenFor(duration, now);
    }
    return ResultReply(Result::kOk);
}

// Payload: after how many seconds the lock closes.
Reply Close(Lock& lock, const Bytes& payload, Lock::TimePoint now) {
    lock.CloseAfter(ReadSeconds(payload, 0), now);
    return ResultReply(Result::kOk);
}

constexpr std::array<LockCommand, 10> kLockCommands = {{
    {0x01, false, "GET_STATUS", 0, GetStatus},
    {0x03, false, "ADD_TO_WHITELIST", std::nullopt, AddCard},
    {0x04, false, "REMOVE_FROM_WHITELIST", std::nullopt, RemoveCard},
    {0x05, false, "DELETE_WHOLE_WHITELIST", 0, ClearCards},
    {0x06, false, "DISABLE_WHITELIST", 0, SwitchCards<false>},
    {0x07, false, "ENABLE_WHITELIST", 0, SwitchCards<true>},
    {0x08, true, "ACCESS_DENIED", 0, DenyAccess},
    {0x09, true, "OPEN_CLOSE_LOCK", 1, OpenAndClose},
    {0x0A, true, "OPEN_LOCK", 4, Open},
    {0x0B, true, "CLOSE_LOCK", 2, Close},
}};

bool AnswersEvent(std::uint8_t code) {
    return (code & kAnswersEventBit) != 0;
}

// What speaks against a command before it is carried out.
Result Admit(const Lock& lock, const LockCommand& command, std::uint8_t code, const Bytes& payload) {
    if (command.payloadSize && *command.payloadSize != payload.size()) {
        return Result::kDataLengthMismatch;
    }
    if (AnswersEvent(code) && lock.DemandsEvent() && !lock.PendingEvent()) {
        return Result::kUnexpected;
    }
    return Result::kOk;
}

}  // namespace

Reply ResultReply(Result result) {
    return {kResultAnswer, {static_cast<std::uint8_t>(result)}};
}

const LockCommand* FindLockCommand(std::uint8_t code) {
    const auto plainCode = static_cast<std::uint8_t>(code & ~kAnswersEventBit);
    for (const LockCommand& command : kLockCommands) {
        if (command.code == code || (command.mayAnswerEvent && command.code == plainCode)) {
            return &command;
        }
    }
    return nullptr;
}

Reply CarryOut(Lock& lock, std::uint8_t code, const Bytes& payload, Lock::TimePoint now) {
    const LockCommand* command = FindLockCommand(code);
    if (command == nullptr) {
        return ResultReply(IsGatewayOnly(code) ? Result::kUnexpected : Result::kNotSupported);
    }
    if (const Result admitted = Admit(lock, *command, code, payload); admitted != Result::kOk) {
        return ResultReply(admitted);
    }
    if (AnswersEvent(code)) {
        lock.EventAnswered();
    }
    return command->carryOut(lock, payload, now);
}

}  // namespace Simulator
