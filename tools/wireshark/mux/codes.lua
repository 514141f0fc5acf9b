-- The numbers of both protocols and what each is called: a row per number, and nothing that walks them.
return function()
    local codes = {}

    -- "MessageCode" of a client's or the Mux's JSON text. `kind` is what the message is to whoever waits for an answer.
    codes.messages = {
        [0] = { name = "MUX_MESSAGE_ACK", kind = "answer" },
        [1] = { name = "MUX_MESSAGE_NACK", kind = "answer" },
        [2] = { name = "MUX_MESSAGE_CONFIGURE", kind = "unanswered" },
        [10] = { name = "MUX_MESSAGE_LOCK_OPEN", kind = "request" },
        [11] = { name = "MUX_MESSAGE_LOCK_CLOSE", kind = "request" },
        [12] = { name = "MUX_MESSAGE_LOCK_GET_STATUS", kind = "request" },
        [13] = { name = "MUX_MESSAGE_LOCK_OPEN_CLOSE", kind = "request" },
        [14] = { name = "MUX_MESSAGE_ACCESS_DENIED", kind = "request" },
        [20] = { name = "MUX_MESSAGE_WHITELIST_GET", kind = "request" },
        [21] = { name = "MUX_MESSAGE_LOCK_WHITELIST_SET", kind = "request" },
        [22] = { name = "MUX_MESSAGE_CLEAR_WHITELIST", kind = "request" },
        [23] = { name = "MUX_MESSAGE_ENABLE_WHITELIST", kind = "request" },
        [24] = { name = "MUX_MESSAGE_DISABLE_WHITELIST", kind = "request" },
        [25] = { name = "MUX_MESSAGE_LOCK_WHITELIST_REMOVE", kind = "request" },
        [50] = { name = "MUX_MESSAGE_ACCESS_ALLOWED", kind = "event" },
        [51] = { name = "MUX_MESSAGE_EVENT_CARD_READER", kind = "event" },
        [60] = { name = "MUX_MESSAGE_EVENT_INFO", kind = "event" },
        [110] = { name = "MUX_MESSAGE_EVENT_LOCK_OPEN", kind = "request" },
        [111] = { name = "MUX_MESSAGE_EVENT_LOCK_CLOSE", kind = "request" },
        [113] = { name = "MUX_MESSAGE_EVENT_LOCK_OPEN_CLOSE", kind = "request" },
        [114] = { name = "MUX_MESSAGE_EVENT_ACCESS_DENIED", kind = "request" },
    }

    -- Command byte of a gateway frame.
    codes.commands = {
        [0x00] = "RESPONSE",
        [0x01] = "GET_STATUS",
        [0x03] = "ADD_TO_WHITELIST",
        [0x04] = "REMOVE_FROM_WHITELIST",
        [0x05] = "DELETE_WHOLE_WHITELIST",
        [0x06] = "DISABLE_WHITELIST",
        [0x07] = "ENABLE_WHITELIST",
        [0x08] = "ACCESS_DENIED",
        [0x09] = "OPEN_CLOSE_LOCK",
        [0x0A] = "OPEN_LOCK",
        [0x0B] = "CLOSE_LOCK",
        [0x0E] = "Card-reader event",
        [0x0F] = "Card-reader event",
        [0x11] = "Card-reader event",
        [0x12] = "Card-reader event",
        [0x16] = "PIN-code event",
        [0x88] = "ACCESS_DENIED (answers an event)",
        [0x89] = "OPEN_CLOSE_LOCK (answers an event)",
        [0x8A] = "OPEN_LOCK (answers an event)",
        [0x8B] = "CLOSE_LOCK (answers an event)",
    }

    -- Commands that a gateway sends unasked.
    codes.events = { [0x0E] = true, [0x0F] = true, [0x11] = true, [0x12] = true, [0x16] = true }

    -- Result in a gateway's response.
    codes.sequence_counter_error = 7
    codes.results = {
        [0] = "BRENK_RESPONSE_OK",
        [2] = "BRENK_RESPONSE_ALREADY_IN_WHITELIST",
        [3] = "BRENK_RESPONSE_WHITELIST_FULL",
        [4] = "BRENK_RESPONSE_NOT_IN_WHITELIST",
        [5] = "BRENK_RESPONSE_UNKNOWN_HEADER_VERSION",
        [6] = "BRENK_RESPONSE_NOT_SUPPORTED",
        [7] = "BRENK_RESPONSE_SEQUENCE_COUNTER_ERROR",
        [8] = "BRENK_RESPONSE_NO_ROUTE_FOR_DEVADDR",
        [9] = "BRENK_RESPONSE_DATA_LENGTH_MISMATCH",
        [10] = "BRENK_RESPONSE_MESSAGE_UNESPECTED",
        [11] = "BRENK_RESPONSE_SETUP_NUMBER_MISMATCH",
        [12] = "BRENK_RESPONSE_SYSTEM_INCONSISTENCY",
    }

    -- A lock's battery, the same numbers in a gateway's frame and in the Mux's JSON.
    codes.battery_status = {
        [0] = "No battery status available.",
        [1] = "Internal resistance too high.",
        [2] = "Battery status medium.",
        [3] = "Battery status OK (full).",
    }
    codes.battery_level = { [0] = "< 80%", [1] = "minimum 80%", [2] = "minimum 90%", [3] = "minimum 95%" }

    return codes
end
