#pragma once

#include <cstdint>

namespace Mux {

// The kind of a message between a client and the Mux; the "MessageCode" of its JSON text.
//
// Other numbers are unassigned. Codes 110 to 114 respond to a card-reader event and are the request codes 10 to 14 plus
// 100; 112 has no meaning, because an event is never answered with a status request.
enum MuxMessageCodes : std::int32_t {
    // Mux to client: answers.
    MUX_MESSAGE_ACK = 0,
    MUX_MESSAGE_NACK = 1,

    // Client to Mux: requests.
    MUX_MESSAGE_CONFIGURE = 2,
    MUX_MESSAGE_LOCK_OPEN = 10,
    MUX_MESSAGE_LOCK_CLOSE = 11,
    MUX_MESSAGE_LOCK_GET_STATUS = 12,
    MUX_MESSAGE_LOCK_OPEN_CLOSE = 13,
    MUX_MESSAGE_ACCESS_DENIED = 14,
    MUX_MESSAGE_WHITELIST_GET = 20,
    MUX_MESSAGE_LOCK_WHITELIST_SET = 21,
    MUX_MESSAGE_CLEAR_WHITELIST = 22,
    MUX_MESSAGE_ENABLE_WHITELIST = 23,
    MUX_MESSAGE_DISABLE_WHITELIST = 24,
    MUX_MESSAGE_LOCK_WHITELIST_REMOVE = 25,

    // Mux to client: events. A client that sends ACCESS_ALLOWED asks for something no gateway can do.
    MUX_MESSAGE_ACCESS_ALLOWED = 50,
    MUX_MESSAGE_EVENT_CARD_READER = 51,
    MUX_MESSAGE_EVENT_INFO = 60,

    // Client to Mux: answers to a card-reader event.
    MUX_MESSAGE_EVENT_LOCK_OPEN = 110,
    MUX_MESSAGE_EVENT_LOCK_CLOSE = 111,
    MUX_MESSAGE_EVENT_LOCK_OPEN_CLOSE = 113,
    MUX_MESSAGE_EVENT_ACCESS_DENIED = 114,
};

}  // namespace Mux
