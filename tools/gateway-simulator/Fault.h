#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>

#include "tools/gateway-simulator/Bytes.h"

namespace Simulator {

enum class FaultKind {
    kDelay,
    kSilence,
    kClose,
    kReset,
    kCloseMidFrame,
    kByteByByte,
    kGlue,
    kJunk,
    kWrongCrc,
    kWrongLength,
    kUnknownReference,
    kTwice,
    kForceResult,
    kAnswerCode,
};

// One thing to go wrong with the next answer, or with several: Fault::Delay(500ms).Times(3).ForLock(5).
//
// A value. Without Times() or Always() it applies once; without ForLock() to answers for every address, also to
// those for addresses without a lock.
struct Fault {
    static constexpr std::uint32_t kAlways = std::numeric_limits<std::uint32_t>::max();

    // The answer leaves this much later; answers to later requests may overtake it.
    static Fault Delay(std::chrono::milliseconds delay);
    // The request is carried out and never answered.
    static Fault Silence() { return {FaultKind::kSilence}; }
    // Instead of the answer the connection is closed in order, or reset.
    static Fault Close() { return {FaultKind::kClose}; }
    static Fault Reset() { return {FaultKind::kReset}; }
    // The first half of the answer is sent, then the connection is closed in order.
    static Fault CloseMidFrame() { return {FaultKind::kCloseMidFrame}; }
    // Each byte of the answer is written by itself, with this pause between.
    static Fault ByteByByte(std::chrono::milliseconds pause);
    // The answer waits and leaves in one write with the next frame on its connection, answer or event.
    static Fault Glue() { return {FaultKind::kGlue}; }
    // These bytes go before the answer, in the same write.
    static Fault Junk(Bytes junk);
    // Both checksum bytes are inverted.
    static Fault WrongCrc() { return {FaultKind::kWrongCrc}; }
    // The total length byte has this value; the checksum stays that of the right length.
    static Fault WrongLength(std::uint8_t length) { return {FaultKind::kWrongLength, length}; }
    // Bit 5 of the reference ID is inverted, so that it names another request or none.
    static Fault UnknownReference() { return {FaultKind::kUnknownReference}; }
    // The same answer is sent a second time.
    static Fault Twice() { return {FaultKind::kTwice}; }
    // A request whose counter was accepted is answered with this result and not carried out. Requests with a
    // wrong counter get their counter error and do not use the fault up.
    static Fault ForceResult(std::uint8_t result) { return {FaultKind::kForceResult, result}; }
    // The answer has this code; its payload stays.
    static Fault AnswerCode(std::uint8_t code) { return {FaultKind::kAnswerCode, code}; }

    Fault& Times(std::uint32_t count);
    Fault& Always() { return Times(kAlways); }
    Fault& ForLock(std::uint32_t deviceAddress);

    // Milliseconds of a duration, as far as the kind has one.
    std::chrono::milliseconds Duration() const { return std::chrono::milliseconds(number); }
    // Byte value, as far as the kind has one.
    std::uint8_t Byte() const { return static_cast<std::uint8_t>(number); }

    FaultKind kind = FaultKind::kDelay;
    std::uint32_t number = 0;
    Bytes bytes = {};
    // How many answers are left; kAlways never runs out, 0 never applies.
    std::uint32_t remaining = 1;
    std::optional<std::uint32_t> address = std::nullopt;
};

}  // namespace Simulator
