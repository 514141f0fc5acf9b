#pragma once

#include <cstdint>

namespace MuxClient {

// What a message between a client and the Mux is: the "MessageCode" of its JSON text.
//
// Of what a client may send, the Mux refuses kWhitelistGet and kAccessAllowed with a NACK, and does nothing at all
// about kConfigure, not even answer.
enum class MessageCode : std::int32_t {
    // From the Mux: answers.
    kAck = 0,
    kNack = 1,

    // To the Mux: requests.
    kConfigure = 2,
    kLockOpen = 10,
    kLockClose = 11,
    kLockGetStatus = 12,
    kLockOpenClose = 13,
    kAccessDenied = 14,
    kWhitelistGet = 20,
    kWhitelistAdd = 21,
    kWhitelistClear = 22,
    kWhitelistEnable = 23,
    kWhitelistDisable = 24,
    kWhitelistRemove = 25,

    // From the Mux: events. kAccessAllowed is a request too, when a client sends it.
    kAccessAllowed = 50,
    kCardReader = 51,
    kInfo = 60,

    // To the Mux: answers to an event.
    kEventLockOpen = 110,
    kEventLockClose = 111,
    kEventLockOpenClose = 113,
    kEventAccessDenied = 114,
};

}  // namespace MuxClient
