#pragma once

#include <cstdint>

// The codes in the payload type byte of a gateway frame: what a request asks for and what an incoming frame is.
namespace Brenk::Messages::CommandCodes {

// Sent by the gateway in answer to a request.
constexpr std::uint8_t kResponse = 0x00;

// Request to a lock, and the gateway's answer with the lock's status.
constexpr std::uint8_t kGetStatus = 0x01;

// Requests.
constexpr std::uint8_t kAddToWhitelist = 0x03;
constexpr std::uint8_t kRemoveFromWhitelist = 0x04;
constexpr std::uint8_t kDeleteWholeWhitelist = 0x05;
constexpr std::uint8_t kDisableWhitelist = 0x06;
constexpr std::uint8_t kEnableWhitelist = 0x07;

// Requests with a second form, which has the high bit set.
constexpr std::uint8_t kAccessDenied = 0x08;
constexpr std::uint8_t kShortTermActivation = 0x09;
constexpr std::uint8_t kLongTermActivation = 0x0A;
constexpr std::uint8_t kLongTermRelease = 0x0B;

// Sent by the gateway on its own, for something that happened at a lock.
constexpr std::uint8_t kCardReaderEvent = 0x0E;
constexpr std::uint8_t kCardAccessEvent = 0x0F;
constexpr std::uint8_t kPincodeEvent = 0x16;

// Returns the code of a request's second form when `flag` is set, and `code` itself when it is not.
constexpr std::uint8_t WithFlag(std::uint8_t code, bool flag) {
    return static_cast<std::uint8_t>(flag ? code | 0x80 : code);
}

}  // namespace Brenk::Messages::CommandCodes
