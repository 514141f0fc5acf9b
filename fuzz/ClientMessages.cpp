// The JSON text in a client's packet: the envelope, and the payload of every code.

#include <memory>
#include <string>

#include "fuzz/FuzzTarget.h"
#include "json/Assertion.h"
#include "mux/messages/MuxMessageBuilder.h"

namespace {

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

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::DiscardLog();
    Mux::MuxMessageBuilder builder;
    try {
        const auto message = builder.ParseMessage(std::string(reinterpret_cast<const char*>(data), size));
        if (message != nullptr) {
            Rewrite(builder, *message);
        }
    } catch (const Json::AssertionFailure&) {
        // How the daemon ends then is a matter of its tests.
    }
    return 0;
}
