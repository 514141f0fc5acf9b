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

// An event for people, one line without its end. The time is that of the message, as local time here.
//
//     2026-11-20 16:40:12  card at reader  gateway 1  lock 5  card 04A1B2C3
std::string EventText(const MuxClient::Message& event, const Style& style);

// The JSON text in one line.
std::string JsonLine(const MuxClient::Message& message);

}  // namespace Muxctl
