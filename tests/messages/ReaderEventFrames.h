#pragma once

#include "messages/EventPayloads.h"
#include "tests/messages/WireBytes.h"

namespace Testing {

// Where a reader event has the length of its data, and where the data begin.
constexpr std::size_t kDataLengthOffset = 24;
constexpr std::size_t kDataOffset = 25;

// A frame in which a lock tells of a card, and one in which it tells of a PIN: both with the event fields that
// ExpectEventFields() knows, and with four bytes of data.
Bytes CardFrame();
Bytes PinFrame();

// Expects the event fields of the two frames.
void ExpectEventFields(const Brenk::Messages::BrenkReaderEventPayload& payload);

// Expects an event of zeros without data.
void ExpectNothing(const Brenk::Messages::BrenkReaderEventPayload& payload);

}  // namespace Testing
