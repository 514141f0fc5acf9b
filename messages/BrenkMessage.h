#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "messages/BrenkFrameHeader.h"
#include "messages/BrenkMessagePayload.h"

namespace Brenk::Messages {

// One frame to or from a gateway in decoded form: its header and, if it has one, its payload, which it owns.
// BrenkMessageBuilder makes them.
//
// Not thread-safe by itself: a message is handed from one thread to the next. As long as nobody attaches or
// detaches a payload, any thread that holds it may read and serialise it.
class BrenkMessage {
  public:
    // A frame without payload.
    explicit BrenkMessage(const BrenkFrameHeader& header);

    const BrenkFrameHeader& Header() const { return header_; }
    std::uint8_t TotalLength() const { return header_.totalLength; }
    std::uint8_t ReferenceID() const { return header_.referenceID; }
    std::uint32_t SequenceCounter() const { return header_.sequenceCounter; }
    std::uint32_t DeviceAddress() const { return header_.deviceAddress; }
    // The command code (Codes.h); for a parsed frame any value.
    std::uint8_t PayloadType() const { return header_.payloadType; }

    // The payload, which stays the message's; null when there is none.
    BrenkMessagePayload* Payload() const { return payload_.get(); }

    // Replaces the payload. The header is left as it is.
    void AttachPayload(std::unique_ptr<BrenkMessagePayload> payload);

    // Gives the payload away and leaves the frame without one. Null when there is none.
    std::unique_ptr<BrenkMessagePayload> DetachPayload();

    // Returns the whole frame with its CRC as it goes over the wire (FrameLayout.h), in a new vector that the caller
    // owns.
    std::vector<unsigned char>* Serialize();

    // Returns the CRC-16/XMODEM of the frame's bytes without the CRC.
    std::uint16_t ComputeCRC16() const;

    // Returns the serialised frame as upper-case hexadecimal with a blank between two bytes, for the log.
    std::string BytesAsText();

    // Returns the length that a frame announces in its first byte, or 0 when no magic bytes follow it. Throws
    // std::out_of_range for fewer than three bytes.
    static std::uint8_t ReadFrameLength(const std::vector<unsigned char>& frame);

    // Returns the frame's command code, 0 for an empty vector. Throws std::out_of_range when a frame that is not
    // empty ends before it.
    static std::uint8_t ReadPayloadType(const std::vector<unsigned char>& frame);

  private:
    std::vector<unsigned char> BytesWithoutCRC() const;

    BrenkFrameHeader header_;
    std::unique_ptr<BrenkMessagePayload> payload_;
};

}  // namespace Brenk::Messages
