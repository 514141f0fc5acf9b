#pragma once

#include <cstdint>

namespace Simulator {

// Code bytes of the frames, as far as a gateway's roles name them outside the table of commands.
constexpr std::uint8_t kResultAnswer = 0x00;
constexpr std::uint8_t kStatusAnswer = 0x01;
constexpr std::uint8_t kStatusRequest = 0x01;
constexpr std::uint8_t kCardEvent = 0x0E;
constexpr std::uint8_t kPinEvent = 0x16;
// Set in the code of a lock command that answers a reader event.
constexpr std::uint8_t kAnswersEventBit = 0x80;

// A status request to this address asks for the sequence counter, and is the Mux's keep-alive. No lock has it.
constexpr std::uint32_t kCounterAddress = 256;

// Result codes of an answer; 1 has no name.
enum class Result : std::uint8_t {
    kOk = 0,
    kAlreadyInWhitelist = 2,
    kWhitelistFull = 3,
    kNotInWhitelist = 4,
    kUnknownHeaderVersion = 5,
    kNotSupported = 6,
    kSequenceCounterError = 7,
    kNoRoute = 8,
    kDataLengthMismatch = 9,
    kUnexpected = 10,
    kSetupNumberMismatch = 11,
    kSystemInconsistency = 12,
};

// Name of a result for a report line; "RESULT" for a number without one.
const char* ResultName(std::uint8_t result);

// Whether a code is one of the kinds of card event: 14, 15, 17 and 18.
bool IsCardEvent(std::uint8_t code);

// Whether only a gateway sends frames of this code: result answers and all events.
bool IsGatewayOnly(std::uint8_t code);

}  // namespace Simulator
