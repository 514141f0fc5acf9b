#pragma once

#include <memory>
#include <variant>

#include "mux/messages/MuxMessagePayloadBase.h"
#include "mux/messages/MuxNackMessagePayload.h"

namespace Mux {

// What a message carries and owns: nothing, the payload of a NACK, or the payload of any other code. The two kinds of
// payload share no base, and the holder knows which it has, so that neither is ever taken for the other.
using MuxMessageData = std::variant<std::monostate, std::unique_ptr<MuxMessagePayloadBase>,  //
                                    std::unique_ptr<MuxNackMessagePayload>>;

}  // namespace Mux
