#pragma once

#include <cstdint>
#include <optional>

#include "tools/gateway-simulator/Bytes.h"
#include "tools/gateway-simulator/Lock.h"
#include "tools/gateway-simulator/ProtocolCodes.h"

namespace Simulator {

// Code and payload of an answer.
struct Reply {
    std::uint8_t code = kResultAnswer;
    Bytes payload;
};

// A reply with only a result: code 0, one byte.
Reply ResultReply(Result result);

// A command that a lock carries out.
struct LockCommand {
    std::uint8_t code;
    // Whether the command also exists with the bit that makes it the answer to a reader event.
    bool mayAnswerEvent;
    const char* name;
    // Payload bytes, or nothing where the command looks for itself.
    std::optional<std::size_t> payloadSize;
    Reply (*carryOut)(Lock& lock, const Bytes& payload, Lock::TimePoint now);
};

// The command of a code byte, with or without the event bit; null for none.
const LockCommand* FindLockCommand(std::uint8_t code);

// Lets a lock carry out the command of a code byte and gives its answer: kNotSupported for an unknown command,
// kUnexpected for a code that only a gateway sends and for an event's answer where the lock demands an event and
// has none, kDataLengthMismatch for a payload of another length than the command's. Never throws on content.
Reply CarryOut(Lock& lock, std::uint8_t code, const Bytes& payload, Lock::TimePoint now);

}  // namespace Simulator
