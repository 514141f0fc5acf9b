#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "messages/BrenkMessage.h"

namespace Brenk::Messages {

// What BrenkMessageBuilder::BeginSend() remembers of the moment before a frame is sent. A value; it belongs to the
// builder that made it and means nothing to another.
class SendTicket {
  public:
    explicit SendTicket(std::uint64_t announcements) : announcements_(announcements) {}

    // How many sequence counters the gateway had announced at that moment.
    std::uint64_t Announcements() const { return announcements_; }

  private:
    std::uint64_t announcements_;
};

// Builds the frames that go to one gateway, parses the frames that come from it, and keeps the two counters that
// the gateway checks: the reference ID, by which an answer finds its request, and the sequence counter.
//
// Building stamps a frame with the reference ID as it is and with the sequence counter plus one. It moves neither:
// the sender does when the frame has left.
//
// Thread-safe: operations build on one thread, the send thread advances and the read thread stores what the gateway
// announces. The pair of counters on a frame is always of one moment.
class BrenkMessageBuilder {
  public:
    BrenkMessageBuilder(std::uint32_t sequenceCounter, std::uint8_t referenceID);
    virtual ~BrenkMessageBuilder() = default;
    BrenkMessageBuilder(const BrenkMessageBuilder&) = delete;
    BrenkMessageBuilder& operator=(const BrenkMessageBuilder&) = delete;

    // One operation per request. `deviceAddress` is the lock's; `answersEvent` chooses the second form of the
    // command, with the high bit of its code set. Each returns null only when BuildBaseMessage does.
    std::unique_ptr<BrenkMessage> BuildGetStatus(std::uint32_t deviceAddress);

    // Opens and closes again; `value` is a duration in the lock's own unit.
    std::unique_ptr<BrenkMessage> BuildShortTermActivation(std::uint32_t deviceAddress, std::uint8_t value,
                                                           bool answersEvent);

    // Opens.
    std::unique_ptr<BrenkMessage> BuildLongTermActivation(std::uint32_t deviceAddress, std::uint16_t firstValue,
                                                          std::uint16_t secondValue, bool answersEvent);

    // Closes; `value` is a delay in the lock's own unit.
    std::unique_ptr<BrenkMessage> BuildLongTermRelease(std::uint32_t deviceAddress, std::uint16_t value,
                                                       bool answersEvent);

    std::unique_ptr<BrenkMessage> BuildAccessDenied(std::uint32_t deviceAddress, bool answersEvent);

    // What `cardData` becomes is described at BrenkAddOrRemoveFromWhitelistPayload. `option` is sent as given.
    std::unique_ptr<BrenkMessage> BuildAddToWhitelist(std::uint32_t deviceAddress, bool uidMode,
                                                      std::uint8_t setupNumber, std::uint8_t option,
                                                      std::vector<unsigned char>& cardData);

    // A removal has no option: 0 is sent whatever is given.
    std::unique_ptr<BrenkMessage> BuildRemoveFromWhitelist(std::uint32_t deviceAddress, bool uidMode,
                                                           std::uint8_t setupNumber, std::uint8_t option,
                                                           std::vector<unsigned char>& cardData);

    std::unique_ptr<BrenkMessage> BuildClearWhitelist(std::uint32_t deviceAddress);
    std::unique_ptr<BrenkMessage> BuildEnableWhitelist(std::uint32_t deviceAddress);
    std::unique_ptr<BrenkMessage> BuildDisableWhitelist(std::uint32_t deviceAddress);

    // Returns a new frame around `payload` (null for none), header filled and stamped, which the caller owns. The
    // payload belongs to the returned message; it stays the caller's when null is returned or something is thrown.
    // A reference ID outside 0..63 is logged and the frame's stays 0. Virtual so that a test can refuse to build.
    virtual BrenkMessage* BuildBaseMessage(std::uint32_t deviceAddress, std::uint8_t payloadType,
                                           BrenkMessagePayload* payload);

    // Decodes one frame, beginning at its length byte, into a new message that the caller owns. Magic, lengths and CRC
    // are not checked. A type that is neither answer nor event gives a message without payload. Throws
    // std::out_of_range if the frame ends before one of its fields.
    BrenkMessage* Parse(std::vector<unsigned char>& frame);

    // 1, 2, ... 63, 1, ...
    void IncrementReferenceID();

    // Wraps from 2^32 - 1 to 0.
    void IncrementSequenceCounter();

    std::uint8_t ReferenceID() const;
    std::uint32_t SequenceCounter() const;

    // Takes over the counter that the gateway has just announced.
    void StoreSequenceCounter(std::uint32_t announced);

    // The sender's bracket around the sending of one frame: BeginSend before the bytes leave, AdvanceAfterSend when
    // they have (or could not). The reference ID always advances. The sequence counter advances unless the gateway
    // announced one since BeginSend: its answer can be faster than the sender's next step, and the announced value
    // is already the right one for the next frame.
    SendTicket BeginSend() const;
    void AdvanceAfterSend(const SendTicket& ticket);

  private:
    struct Counters {
        std::uint32_t sequenceCounter;
        std::uint8_t referenceID;
        std::uint64_t announcements;
    };

    Counters Snapshot() const;
    std::unique_ptr<BrenkMessage> Build(std::uint32_t deviceAddress, std::uint8_t payloadType,
                                        std::unique_ptr<BrenkMessagePayload> payload);

    mutable std::mutex mutex_;
    Counters counters_;
};

}  // namespace Brenk::Messages
