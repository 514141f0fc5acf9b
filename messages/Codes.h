#pragma once

#include <cstdint>

// The numbers of the gateway protocol that have a name.
namespace Brenk::Messages {

// The payload type byte of a frame: what a request asks for and what an incoming frame is.
namespace CommandCodes {

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

// Requests with a second form, for a client that answers an event; it has the high bit set.
constexpr std::uint8_t kAccessDenied = 0x08;
constexpr std::uint8_t kShortTermActivation = 0x09;
constexpr std::uint8_t kLongTermActivation = 0x0A;
constexpr std::uint8_t kLongTermRelease = 0x0B;

// Sent by the gateway on its own, for something that happened at a lock.
constexpr std::uint8_t kCardReaderEvent = 0x0E;
constexpr std::uint8_t kCardAccessEvent = 0x0F;
constexpr std::uint8_t kCardEvent17 = 0x11;
constexpr std::uint8_t kCardEvent18 = 0x12;
constexpr std::uint8_t kPincodeEvent = 0x16;

constexpr std::uint8_t kEvents[] = {kCardReaderEvent, kCardAccessEvent, kCardEvent17, kCardEvent18, kPincodeEvent};

// Returns whether a frame with this code is an event. Every other frame of a gateway answers a request.
constexpr bool IsEvent(std::uint8_t code) {
    for (const std::uint8_t event : kEvents) {
        if (event == code) {
            return true;
        }
    }
    return false;
}

// Returns the code of a request's second form when `answersEvent` is set, and `code` itself when it is not.
constexpr std::uint8_t ForEventAnswer(std::uint8_t code, bool answersEvent) {
    return static_cast<std::uint8_t>(answersEvent ? code | 0x80 : code);
}

}  // namespace CommandCodes

// A gateway's result: the first payload byte of its response. The numbers are the gateway's; code 1 and those above 12
// have no name and count as unhandled errors. Names are spelt as operators know them from the log.
enum BrenkResponseCode : std::uint8_t {
    // The request was executed.
    BRENK_RESPONSE_OK = 0,
    BRENK_RESPONSE_ALREADY_IN_WHITELIST = 2,
    BRENK_RESPONSE_WHITELIST_FULL = 3,
    BRENK_RESPONSE_NOT_IN_WHITELIST = 4,
    BRENK_RESPONSE_UNKNOWN_HEADER_VERSION = 5,
    BRENK_RESPONSE_NOT_SUPPORTED = 6,
    // The frame's sequence counter was not the expected one; the response carries the gateway's.
    BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR = 7,
    // The gateway knows no lock with that device address.
    BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR = 8,
    BRENK_RESPONSE_DATA_LENGTH_MISMATCH = 9,
    BRENK_RESPONSE_MESSAGE_UNESPECTED = 10,
    BRENK_RESPONSE_SETUP_NUMBER_MISMATCH = 11,
    BRENK_RESPONSE_SYSTEM_INCONSISTENCY = 12,
};

// Values of BrenkMessagePayload::DataType(). They distinguish payloads inside the program, are never transmitted, and
// differ from the command codes except where noted.
namespace PayloadDataTypes {

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

}  // namespace PayloadDataTypes
}  // namespace Brenk::Messages
