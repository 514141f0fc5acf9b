#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/client/MessageCode.h"

namespace MuxClient {

// Error codes of mux-proxy, which no Mux sends.
enum class ProxyError : std::int32_t {
    kNotAllowed = -1,
    kNotValid = -2,
    kNotSent = -3,
    // Sent, and perhaps executed.
    kNoAnswer = -4,
    // Not sent either.
    kMuxAway = -5,
    kNotAudited = -6,
    // Of commands over MQTT: too old, or without a time; without a valid signature.
    kNotFresh = -7,
    kNotSigned = -8,
};

// Why a request was refused.
struct Refusal {
    // The gateway's result, 0 when the Mux refused by itself and for open and close; or a ProxyError.
    std::int32_t errorCode = 0;
    // For people; may be empty.
    std::string message;

    bool Is(ProxyError error) const { return errorCode == static_cast<std::int32_t>(error); }
};

// The answer to a status request.
struct LockStatus {
    // 0 not available, 1 resistance too high, 2 medium, 3 full.
    std::int32_t batteryStatus = 0;
    // What the battery still has: 0 below 80 percent, 1 from 80, 2 from 90, 3 from 95.
    std::int32_t qualityOfService = 0;
    bool mechanicalActive = false;
    bool batteryWarningLevel = false;
    bool batteryAlarmLevel = false;
    bool scandinavianFireMode = false;
    bool readerConnected = false;
};

// What happened at a lock's reader.
struct CardEvent {
    std::int32_t gateway = 0;
    // The low 16 bits of the lock's address.
    std::int32_t lock = 0;
    // The Mux's local time, as in "9:5:0 1-12-2026".
    std::string time;
    // The card's bytes, or those of a PIN's digits, in hexadecimal.
    std::string data;
};

// One message from the Mux, an answer or an event. A value; copies are independent.
struct Message {
    // Seconds since 1970 by the Mux's clock.
    std::int64_t timestamp = 0;
    // That of the request which it answers; of an event, "lockEventMessage-" and a number.
    std::string id;
    MessageCode code = MessageCode::kAck;
    // The whole JSON text as it came.
    std::string text;

    // Each is there when the message has one: `refusal` with code kNack, `status` with the kAck to a status request,
    // `event` with the three codes of events.
    std::optional<Refusal> refusal;
    std::optional<LockStatus> status;
    std::optional<CardEvent> event;

    bool IsAck() const { return code == MessageCode::kAck; }
    // Whether the Mux sent it on its own.
    bool IsEvent() const;
};

// Parses a text from TextCutter. Members that are missing or of another type get the values above. Throws ProtocolError
// if the text is not a JSON object or has no integer "MessageCode". Any thread may call it.
Message ParseMessage(const std::string& text);

}  // namespace MuxClient
