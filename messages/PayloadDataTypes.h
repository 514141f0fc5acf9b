#pragma once

#include <cstdint>

// What BrenkMessagePayload::DataType() says of each kind of payload. These numbers never travel: they tell payloads
// apart inside the program and differ from the command codes except where noted.
namespace Brenk::Messages::PayloadDataTypes {

// Payloads that carry no mark of their own: the base class, the gateway's response, whitelist entries.
constexpr std::uint8_t kUnmarked = 0x00;
constexpr std::uint8_t kGetStatus = 0x02;

// Requests of nothing but a device address are marked with their command code.
constexpr std::uint8_t kDisableWhitelistRequest = 0x06;
constexpr std::uint8_t kEnableWhitelistRequest = 0x07;
constexpr std::uint8_t kAccessDeniedRequest = 0x08;

constexpr std::uint8_t kShortTermActivation = 0x0A;
constexpr std::uint8_t kLongTermActivation = 0x0B;
constexpr std::uint8_t kLongTermRelease = 0x0C;
constexpr std::uint8_t kAccessDenied = 0x0D;
constexpr std::uint8_t kActivateWhitelist = 0x1E;
constexpr std::uint8_t kDeactivateWhitelist = 0x1F;
constexpr std::uint8_t kCardReader = 0x32;
constexpr std::uint8_t kPincode = 0x33;

}  // namespace Brenk::Messages::PayloadDataTypes
