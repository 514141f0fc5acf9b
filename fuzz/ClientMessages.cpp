// The JSON text in a client's packet: the envelope, and the payload of every code. What the Mux does with it is held
// against what the client library's check says of it.

#include <memory>
#include <optional>
#include <string>

#include "fuzz/FuzzTarget.h"
#include "json/Assertion.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"
#include "tools/client/RequestCheck.h"

namespace {

using MuxClient::RequestHazard;
using Hazard = std::optional<RequestHazard>;

// A message can be written again, and what was written can be read again.
void Rewrite(Mux::MuxMessageBuilder& builder, Mux::MuxMessage& message) {
    const std::string text = message.ToJSON();
    if (!text.empty()) {
        const std::unique_ptr<Mux::MuxMessage> again = builder.ParseMessage(text);
        FUZZ_CHECK(again != nullptr);
        FUZZ_CHECK(again->MessageCode() == message.MessageCode());
        FUZZ_CHECK(again->MessageID() == message.MessageID());
        FUZZ_CHECK(again->Timestamp() == message.Timestamp());
    }
}

// What follows if the Mux routes this request.
Hazard HazardOf(const Mux::MuxMessage& message) {
    constexpr std::size_t kMostCardBytes = 233;
    if (dynamic_cast<const Mux::MuxLockRequestPayload*>(message.Payload()) == nullptr) {
        return message.MessageCode() == Mux::MUX_MESSAGE_CONFIGURE ? Hazard(RequestHazard::kNoAnswer) : std::nullopt;
    }
    const auto* const card = dynamic_cast<const Mux::MuxWhitelistSetPayload*>(message.Payload());
    if (card != nullptr && !card->IsUIDCard() && card->CardData().size() > kMostCardBytes) {
        return RequestHazard::kBrokenFrame;
    }
    const bool isMarked = message.MessageID().find("requestNewSEQID-") != std::string::npos;
    return isMarked ? Hazard(RequestHazard::kNoAnswer) : std::nullopt;
}

// `text` is a packet's: the Mux's parser gets what comes before a NUL, if that is anything.
Hazard HazardByMux(const std::string& text) {
    Mux::MuxMessageBuilder builder;
    try {
        const auto message = builder.ParseMessage(text.substr(0, text.find('\0')));
        return message == nullptr ? RequestHazard::kNoAnswer : HazardOf(*message);
    } catch (const Json::AssertionFailure&) {
        return RequestHazard::kEndsMux;
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::DiscardLog();
    const std::string text(reinterpret_cast<const char*>(data), size);
    FUZZ_CHECK(WorstOf(MuxClient::CheckRequest(text)) == HazardByMux(text));
    Mux::MuxMessageBuilder builder;
    try {
        const auto message = builder.ParseMessage(text);
        if (message != nullptr) {
            Rewrite(builder, *message);
        }
    } catch (const Json::AssertionFailure&) {
        // How the daemon ends then is a matter of its tests.
    }
    return 0;
}
