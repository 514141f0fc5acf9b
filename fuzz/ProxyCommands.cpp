// A command from the broker, on a site that requires signatures and on one that does not. What is accepted is a request
// that the dispatcher takes, for the topic's lock; a signed one is accepted once.

#include <string_view>
#include <utility>

#include "fuzz/FuzzTarget.h"
#include "proxy/mqtt/CommandCheck.h"

namespace {

using MuxProxy::CheckedCommand;
using MuxProxy::CommandCheck;
using MuxProxy::CommandMessage;
using MuxProxy::WallTime;

// The time of the corpus, an hour after the start.
constexpr WallTime kNow{std::chrono::milliseconds(1795185612500)};
constexpr std::chrono::hours kRunning{1};

const char* const kKeys =
    R"({"keys":[{"kid":"reception","kty":"EC","crv":"P-256","x":"f83OJ3D2xF1Bg8vub9tLe1gHMzV76e8Tus9uPHvRVEU",)"
    R"("y":"x_FEzRu9m36HLN_tue659LNpXW6pCyStikYjKIWI5a0"}]})";

CommandCheck MakeCheck(const CommandCheck::Keys& keys) {
    WallTime now = kNow - kRunning;
    CommandCheck check("hall", keys, [now]() mutable { return std::exchange(now, kNow); });
    return check;
}

void CheckAccepted(const CheckedCommand& command) {
    const auto read = MuxProxy::ReadRequest(command.text);
    const auto* const request = std::get_if<MuxProxy::ProxyRequest>(&read);
    FUZZ_CHECK(request != nullptr && request->clientId == command.id && request->kind == command.kind);
    FUZZ_CHECK(request->lock.gateway == 1 && request->lock.lock == 70000);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Fuzz::DiscardLog();
    static const auto keys = std::make_shared<const Jose::KeySet>(Jose::KeySet::FromText("keys", kKeys));
    const std::string_view payload(reinterpret_cast<const char*>(data), size);
    const CommandMessage message = {{1, 70000}, "reception", payload, false};
    CommandCheck open = MakeCheck(nullptr);
    const auto plain = open.Read(message);
    if (const auto* const command = std::get_if<CheckedCommand>(&plain)) {
        CheckAccepted(*command);
    }
    CommandCheck strict = MakeCheck(keys);
    const auto first = strict.Read(message);
    if (const auto* const command = std::get_if<CheckedCommand>(&first)) {
        CheckAccepted(*command);
        FUZZ_CHECK(!std::holds_alternative<CheckedCommand>(strict.Read(message)));
        // No text is a command on both sites.
        FUZZ_CHECK(!std::holds_alternative<CheckedCommand>(plain));
    }
    return 0;
}
