#pragma once

#include <cstdint>
#include <vector>

#include "messages/Codes.h"

namespace Brenk::Messages {

// What follows the header of a gateway frame: one class per kind of request, answer and event. The class itself is
// the payload of a request that carries no bytes.
//
// A payload belongs to its BrenkMessage, or to whoever detached it from there. It does not change once it is built,
// so any thread that holds it may read it.
class BrenkMessagePayload {
  public:
    BrenkMessagePayload() = default;
    virtual ~BrenkMessagePayload() = default;
    BrenkMessagePayload(const BrenkMessagePayload&) = delete;
    BrenkMessagePayload& operator=(const BrenkMessagePayload&) = delete;

    // The kind of this payload, one of PayloadDataTypes. It is not sent.
    std::uint8_t DataType() const;

    // Returns the bytes that stand in the frame, in a new vector that the caller owns.
    virtual std::vector<unsigned char>* Serialize();

  protected:
    explicit BrenkMessagePayload(std::uint8_t dataType);

  private:
    std::uint8_t dataType_ = PayloadDataTypes::kUnmarked;
};

}  // namespace Brenk::Messages
