#pragma once

#include <string>

namespace MuxClient {

// Returns a new, universally unique identifier for a request, such as "1b4e28ba-2fa1-41d2-883f-0016d3cca427". The Mux
// keeps the waiting requests of all its clients by identifier, so two clients must not choose the same one. Any thread
// may call it.
std::string NewMessageId();

}  // namespace MuxClient
