// A client's card data: from hexadecimal text to bytes, and from there to the payload that goes to the gateway.
//
// Input: one byte for the UID mode (bit 0) and whether the setup number is 0 (bit 1), then the text.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "messages/RequestPayloads.h"
#include "mux/messages/CardData.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Brenk::Messages::BrenkAddOrRemoveFromWhitelistPayload;

constexpr std::size_t kUidSize = 10;

void Convert(bool uidMode, const Bytes& card) {
    const std::unique_ptr<std::uint8_t[]> converted(
        BrenkAddOrRemoveFromWhitelistPayload::GenerateUIDData(uidMode, card));
    FUZZ_CHECK((converted == nullptr) == (card.empty() || (uidMode && card.size() > kUidSize)));
    if (converted != nullptr && uidMode) {
        FUZZ_CHECK(std::equal(card.rbegin(), card.rend(), converted.get() + kUidSize - card.size()));
    }
}

void Serialise(bool uidMode, std::uint8_t setupNumber, Bytes card) {
    BrenkAddOrRemoveFromWhitelistPayload payload(uidMode, setupNumber, 1, card);
    const std::unique_ptr<Bytes> bytes(payload.Serialize());
    FUZZ_CHECK(bytes->size() >= 3);
    FUZZ_CHECK(bytes->at(0) == setupNumber && bytes->at(1) == 1 && bytes->at(2) == bytes->size() - 3);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::DiscardLog();
    if (size < 1) {
        return 0;
    }
    const std::string text(data + 1, data + size);
    const Bytes card = Mux::CardDataFromText(text);
    FUZZ_CHECK(card.size() == (text.size() + 1) / 2);
    FUZZ_CHECK(Mux::CardDataFromText(Mux::CardDataToText(card)) == card);

    const bool uidMode = (*data & 1) != 0;
    Convert(uidMode, card);
    Serialise(uidMode, (*data & 2) != 0 ? 0 : 1, card);
    return 0;
}
