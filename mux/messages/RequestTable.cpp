#include "mux/messages/RequestTable.h"

#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/RequestPayloads.h"

namespace Mux {
namespace {

using Builder = MuxMessageBuilder;
using Operation = GatewayOperation;
using Answer = AnswerKind;

// The parser of Builder as a plain function; one that gives a raw pointer hands its payload over.
template <auto Parser>
std::unique_ptr<MuxMessagePayloadBase> Parse(MuxMessageBuilder& builder, rapidjson::Value& data) {
    return std::unique_ptr<MuxMessagePayloadBase>((builder.*Parser)(data));
}

constexpr RequestKind::Parser kNoPayload = nullptr;

constexpr const char* kNoStatusPayload = "Paylaod for LOCK_GETSTATUS is nullptr. Message cannot be routed to gateway.";
constexpr const char* kNoOpenClosePayload = "Current data payload for LOCK_OPEN_CLOSE is null. Nothing can be done.";
constexpr const char* kNoDeniedPayload = "MUX_MESSAGE_ACCESS_DENIED payload is nullptr.";

constexpr RequestKind kRequestKinds[] = {
    {MUX_MESSAGE_CONFIGURE, "", "CONFIGURE", Parse<&Builder::ParseConfigureMessage>, Operation::kNone, Answer::kNone,
     false, "", ""},
    {MUX_MESSAGE_LOCK_OPEN, "LOCK OPEN", "LOCK_OPEN", Parse<&Builder::ParseLockOpenMessage>, Operation::kOpenLock,
     Answer::kLockOperation, false, "", ""},
    {MUX_MESSAGE_LOCK_CLOSE, "LOCK CLOSE", "LOCK_CLOSE", Parse<&Builder::ParseLockCloseMessage>, Operation::kCloseLock,
     Answer::kLockOperation, false, "", ""},
    {MUX_MESSAGE_LOCK_GET_STATUS, "LOCK GET-STATUS", "LOCK_GETSTATUS", Parse<&Builder::ParseGetLockStatusMessage>,
     Operation::kGetStatus, Answer::kLockStatus, false, kNoStatusPayload, ""},
    {MUX_MESSAGE_LOCK_OPEN_CLOSE, "LOCK OPEN-CLOSE", "LOCK_OPEN_CLOSE", Parse<&Builder::ParseLockOpenCloseMessage>,
     Operation::kOpenCloseLock, Answer::kPlain, false, kNoOpenClosePayload, ""},
    {MUX_MESSAGE_ACCESS_DENIED, "ACCESS DENIED", "MUX_MESSAGE_ACCESS_DENIED", Parse<&Builder::ParseAccessDeniedMessage>,
     Operation::kDenyAccess, Answer::kPlain, false, kNoDeniedPayload, ""},
    {MUX_MESSAGE_WHITELIST_GET, "WHITELIST GET", "WHITELIST_GET", kNoPayload, Operation::kNone, Answer::kNone, false,
     "", ""},
    {MUX_MESSAGE_LOCK_WHITELIST_SET, "WHITELIST SET", "LOCK_WHITELIST_SET", Parse<&Builder::ParseWhitelistSetMessage>,
     Operation::kAddCard, Answer::kPlain, false,
     "Current data payload for LOCK_WHITELIST_SET is null. Nothing can be done.", ""},
    {MUX_MESSAGE_CLEAR_WHITELIST, "WHITELIST CLEAR", "MUX_MESSAGE_CLEAR_WHITELIST",
     Parse<&Builder::ParseWhitelistClearMessage>, Operation::kClearWhitelist, Answer::kPlain, false,
     "MUX_MESSAGE_CLEAR_WHITELIST payload is nullptr.", ""},
    {MUX_MESSAGE_ENABLE_WHITELIST, "WHITELIST ENABLE", "MUX_MESSAGE_ENABLE_WHITELIST",
     Parse<&Builder::ParseWhitelistEnableMessage>, Operation::kEnableWhitelist, Answer::kPlain, false,
     "MUX_MESSAGE_ENABLE_WHITELIST payload is nullptr.", ""},
    {MUX_MESSAGE_DISABLE_WHITELIST, "WHITELIST DISABLE", "MUX_MESSAGE_DISABLE_WHITELIST",
     Parse<&Builder::ParseWhitelistDisableMessage>, Operation::kDisableWhitelist, Answer::kPlain, false,
     "MUX_MESSAGE_DISABLE_WHITELIST payload is nullptr.", ""},
    {MUX_MESSAGE_LOCK_WHITELIST_REMOVE, "", "LOCK_WHITELIST_REMOVE", Parse<&Builder::ParseWhitelistSetMessage>,
     Operation::kRemoveCard, Answer::kPlain, false,
     "Current data payload for LOCK_WHITELIST_REMOVE is null. Nothing can be done.", ""},
    {MUX_MESSAGE_ACCESS_ALLOWED, "", "ACCESS_ALLOWED", kNoPayload, Operation::kNone, Answer::kNone, false, "",
     "Access allowed message received, but it's currently not supported by the Brenk gateway."},
    {MUX_MESSAGE_EVENT_LOCK_OPEN, "LOCK OPEN EVENT RESPONSE", "LOCK_OPEN", Parse<&Builder::ParseLockOpenMessage>,
     Operation::kOpenLock, Answer::kLockOperation, true, "", ""},
    {MUX_MESSAGE_EVENT_LOCK_CLOSE, "LOCK CLOSE EVENT RESPONSE", "LOCK_CLOSE", Parse<&Builder::ParseLockCloseMessage>,
     Operation::kCloseLock, Answer::kLockOperation, true, "", ""},
    {MUX_MESSAGE_EVENT_LOCK_OPEN_CLOSE, "LOCK OPEN-CLOSE EVENT RESPONSE", "LOCK_OPEN_CLOSE",
     Parse<&Builder::ParseLockOpenCloseMessage>, Operation::kOpenCloseLock, Answer::kPlain, true, kNoOpenClosePayload,
     ""},
    {MUX_MESSAGE_EVENT_ACCESS_DENIED, "EVENT ACCESS DENIED", "MUX_MESSAGE_ACCESS_DENIED",
     Parse<&Builder::ParseAccessDeniedMessage>, Operation::kDenyAccess, Answer::kPlain, true, kNoDeniedPayload, ""},
};

// Each code then has one row.
constexpr bool AreCodesAscending() {
    const RequestKind* before = nullptr;
    for (const RequestKind& request : kRequestKinds) {
        if (before != nullptr && request.code <= before->code) {
            return false;
        }
        before = &request;
    }
    return true;
}

static_assert(AreCodesAscending());

}  // namespace

const RequestKind* FindRequest(std::int32_t messageCode) {
    for (const RequestKind& request : kRequestKinds) {
        if (request.code == messageCode) {
            return &request;
        }
    }
    return nullptr;
}

}  // namespace Mux
