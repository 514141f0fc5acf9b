#pragma once

#include <chrono>
#include <string>

#include "tools/client/Message.h"
#include "tools/muxctl/Style.h"

namespace Muxctl {

// An answer for people, lines without the end of the last one:
//
//     ACK   status, gateway 1, lock 5 (0.6 s)
//           battery                full
//           ...
//     NACK  open, gateway 9, lock 5: Error in request (0.0 s)
//
// `request` names the request.
std::string AnswerText(const MuxClient::Message& answer, const std::string& request, std::chrono::milliseconds elapsed,
                       const Style& style);

// Whether the PINs of events are shown, or asterisks in their place, always as many.
enum class Pins { kMasked, kShown };

// An event for people, one line without its end. The time is that of the message, as local time here. `lockName` may be
// empty.
//
//     2026-11-20 16:40:12  card at reader  gateway 1  lock 5 (Front door)  card 04A1B2C3
//     2026-11-20 16:40:15  PIN entered     gateway 1  lock 5 (Front door)  PIN ****
std::string EventText(const MuxClient::Message& event, Pins pins, const std::string& lockName, const Style& style);

// The JSON text in one line, as it came.
std::string JsonLine(const MuxClient::Message& message);

// The JSON text of an event in one line, as it came but for a masked PIN.
std::string EventJsonLine(const MuxClient::Message& event, Pins pins);

}  // namespace Muxctl
