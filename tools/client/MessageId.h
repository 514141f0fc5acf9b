#pragma once

#include <string>

namespace MuxClient {

// Returns a new identifier for a request, as in "1b4e28ba-2fa1-41d2-883f-0016d3cca427": nobody else's request has the
// same, in this process or elsewhere. The Mux keeps the waiting requests of all its clients by their identifiers, so
// two clients must not choose the same one. Any thread may call it.
std::string NewMessageId();

}  // namespace MuxClient
