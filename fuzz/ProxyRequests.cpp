// A client's text as the proxy reads it and writes it anew, beside what the Mux's own parser makes of both: the rights
// were decided for what the Mux will do, and nothing gets through that ends the Mux or is never answered.

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "json/Assertion.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/RequestPayloads.h"
#include "proxy/requests/ProxyRequest.h"
#include "tools/client/Packet.h"

namespace {

constexpr std::size_t kLongestPlainCard = 233;
constexpr std::size_t kShortestThatMayBeTooLong = 65000;

// What the Mux passes on to a gateway. Without a code it ends, is silent, or refuses the text.
struct Meaning {
    std::int32_t code = 0;
    std::int32_t gateway = 0;
    std::int32_t lock = 0;
    unsigned duration = 1;
    bool isUid = false;
    unsigned setupNumber = 0;
    bool hasOptions = false;
    std::vector<unsigned char> card;

    auto Tied() const { return std::tie(code, gateway, lock, duration, isUid, setupNumber, hasOptions, card); }
};

Meaning MeaningOf(const Mux::MuxMessage& message) {
    Meaning meaning;
    const auto* const payload = dynamic_cast<const Mux::MuxLockRequestPayload*>(message.Payload());
    if (payload == nullptr) {
        return meaning;
    }
    meaning.code = message.MessageCode();
    meaning.gateway = payload->GatewayID();
    meaning.lock = payload->LockID();
    if (const auto* const passage = dynamic_cast<const Mux::MuxLockOpenCloseMessagePayload*>(payload)) {
        meaning.duration = std::max<unsigned>(passage->Duration(), 1);
    }
    if (const auto* const entry = dynamic_cast<const Mux::MuxWhitelistSetPayload*>(payload)) {
        meaning.isUid = entry->IsUIDCard();
        meaning.setupNumber = entry->SetupNumber() & 0xFFU;
        meaning.hasOptions = entry->Options() != 0;
        meaning.card = entry->CardData();
    }
    const bool isTooLong = !meaning.isUid && meaning.card.size() > kLongestPlainCard;
    return isTooLong ? Meaning() : meaning;
}

Meaning MeaningOf(std::string_view text) {
    Mux::MuxMessageBuilder builder;
    try {
        const std::unique_ptr<Mux::MuxMessage> message = builder.ParseMessage(text.substr(0, text.find('\0')));
        return message != nullptr ? MeaningOf(*message) : Meaning();
    } catch (const Json::AssertionFailure&) {
        return {};
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::DiscardLog();
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const Meaning meaning = MeaningOf(text);
    const auto read = MuxProxy::ReadRequest(text);
    const auto* const request = std::get_if<MuxProxy::ProxyRequest>(&read);
    // Written anew with every member, the longest fit into no packet.
    const bool mayBeTooLong = request == nullptr && size > kShortestThatMayBeTooLong;
    FUZZ_CHECK(mayBeTooLong || (request != nullptr) == (meaning.code != 0));
    if (request != nullptr) {
        FUZZ_CHECK(request->lock.gateway == meaning.gateway && request->lock.lock == meaning.lock);
        FUZZ_CHECK(static_cast<std::int32_t>(request->kind->code) == meaning.code);
        const std::string written = MuxProxy::WriteRequest(*request).text;
        FUZZ_CHECK(MeaningOf(written).Tied() == meaning.Tied());
        MuxClient::BuildPacket(written);
    }
    return 0;
}
