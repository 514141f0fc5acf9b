#pragma once

#include <cstdint>

#include "tools/gateway-simulator/Bytes.h"
#include "tools/gateway-simulator/EventSource.h"
#include "tools/gateway-simulator/Frame.h"

namespace Load {

// A gateway that accepts everything: what it answers, without its network.
//
// The first request for its sequence counter is answered with the counter of that request, later ones with "no
// route", every other request with "OK", whatever its sequence counter: a gateway under load is sent several frames
// with the same one.
//
// Not thread-safe.
class AtOnceModel {
  public:
    // The bytes that answer one request.
    Simulator::Bytes AnswerTo(const Simulator::Frame& request);

    // The bytes of a card event at lock 5. The card's 4 bytes are the number, big-endian.
    Simulator::Bytes CardEvent(std::uint32_t number);

    // Whether it was asked for its sequence counter.
    bool GaveCounter() const { return gaveCounter_; }

  private:
    Simulator::Bytes ResultFor(const Simulator::Frame& request);

    bool gaveCounter_ = false;
    Simulator::EventSource events_;
};

}  // namespace Load
