#pragma once

#include <cstdint>

namespace Brenk::Messages {

// What a gateway says of a request: the first payload byte of its response. The numbers are the gateway's; code 1
// and those above 12 have no name and count as unhandled errors. The spelling of each name is the one that operators
// know from the log.
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

}  // namespace Brenk::Messages
