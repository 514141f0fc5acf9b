#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace MuxClient {

// What follows if a text is sent all the same, from the worst.
enum class RequestHazard {
    // The Mux aborts, for all its clients and gateways.
    kEndsMux,
    // The gateway gets a frame that it cannot read, or reads another card from it.
    kBrokenFrame,
    // No answer ever comes.
    kNoAnswer,
};

// One reason not to send a text.
struct RequestFault {
    RequestHazard hazard = RequestHazard::kEndsMux;
    // The member, as a JSON pointer such as "/Data/lockID"; empty for the whole text.
    std::string where;
    // To follow the name of the member: "is missing".
    std::string reason;
};

// Checks the text of a packet before it is sent to a Mux. Empty for a text that the Mux answers, itself or when the
// gateway has answered; such a request may still be refused. For any other text, WorstOf the faults is what follows.
//
// Reads the text as the Mux does, only up to its first NUL. Stack use does not depend on nesting. Any thread.
std::vector<RequestFault> CheckRequest(std::string_view text);

// Nothing if there are no faults. Any thread.
std::optional<RequestHazard> WorstOf(const std::vector<RequestFault>& faults);

}  // namespace MuxClient
