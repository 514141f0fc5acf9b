#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "messages/Codes.h"

namespace Brenk::Messages {

// The first 17 bytes of a gateway frame in decoded form (FrameLayout.h), integers in host order, fields in the
// order of the frame. A new header is all zeros.
struct BrenkFrameHeader {
    // Reads the header of `frame` without checking it. Throws std::out_of_range if the frame is shorter than a header.
    static BrenkFrameHeader Read(const std::vector<unsigned char>& frame);

    // Appends the header's 17 bytes to `frame`.
    void AppendTo(std::vector<unsigned char>& frame) const;

    std::uint8_t totalLength = 0;
    std::uint8_t magic1 = 0;
    std::uint8_t magic2 = 0;
    std::uint8_t remainingLength = 0;
    std::uint8_t headerVersion = 0;
    std::uint8_t reserved1 = 0;
    std::uint8_t reserved2 = 0;
    std::uint8_t referenceID = 0;
    std::uint32_t sequenceCounter = 0;
    std::uint32_t deviceAddress = 0;
    std::uint8_t payloadType = 0;
};

// The part of a gateway frame after the header: one class per kind of request, answer and event. The class itself is
// the payload of a request without bytes.
//
// A payload belongs to its BrenkMessage, or to the caller that detached it. It is immutable once built, so any thread
// that holds it may read it.
class BrenkMessagePayload {
  public:
    BrenkMessagePayload() = default;
    virtual ~BrenkMessagePayload() = default;
    BrenkMessagePayload(const BrenkMessagePayload&) = delete;
    BrenkMessagePayload& operator=(const BrenkMessagePayload&) = delete;

    // The kind of this payload, one of PayloadDataTypes. It is not sent.
    std::uint8_t DataType() const;

    // Returns the bytes of the frame in a new vector that the caller owns.
    virtual std::vector<unsigned char>* Serialize();

  protected:
    explicit BrenkMessagePayload(std::uint8_t dataType);

  private:
    std::uint8_t dataType_ = PayloadDataTypes::kUnmarked;
};

// One frame to or from a gateway in decoded form: its header and, if it has one, its payload, which it owns.
// BrenkMessageBuilder makes them.
//
// Not thread-safe by itself: a message is passed from one thread to the next. While no thread attaches or detaches a
// payload, any thread that holds it may read and serialise it.
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
