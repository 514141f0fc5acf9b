#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

// Asks for a lock's status, without bytes, or brings it: seven status bytes that BrenkLockState decodes. Status is
// only received, never sent, so it serialises to nothing in both forms.
class BrenkGetStatusPayload : public BrenkMessagePayload {
  public:
    using StatusBytes = std::array<std::uint8_t, 7>;

    // The request.
    BrenkGetStatusPayload();

    // The answer, read from a whole frame. An empty frame gives a payload without status. Throws std::out_of_range
    // when the frame ends before the seven bytes do.
    explicit BrenkGetStatusPayload(std::vector<unsigned char>& frame);

    // A copy of the status bytes; zeros when there is no status.
    StatusBytes StatusData() const;

  private:
    std::unique_ptr<const StatusBytes> statusData_;
};

}  // namespace Brenk::Messages
