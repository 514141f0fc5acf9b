#include "mux/RoutingTable.h"

#include "diagnostics/Log.h"
#include "mux/messages/MuxLockOpenCloseMessagePayload.h"
#include "mux/messages/MuxMessageCodes.h"
#include "mux/messages/MuxWhitelistSetPayload.h"

namespace Mux {
namespace {

constexpr std::uint8_t kShortestDuration = 1;
constexpr std::uint8_t kNoDelay = 0;

std::uint32_t AddressOf(const RoutedRequest& request) {
    return static_cast<std::uint32_t>(request.payload.LockID());
}

bool OpenLock(const RoutedRequest& request) {
    return request.gateway.OpenLock(request.messageID, AddressOf(request), kNoDelay, request.isEventResponse,
                                    request.context);
}

bool CloseLock(const RoutedRequest& request) {
    return request.gateway.CloseLock(request.messageID, AddressOf(request), kNoDelay, request.isEventResponse,
                                     request.context);
}

bool GetStatus(const RoutedRequest& request) {
    return request.gateway.GetNodeStatus(request.messageID, AddressOf(request), request.context);
}

bool OpenCloseLock(const RoutedRequest& request) {
    std::uint8_t duration = static_cast<const MuxLockOpenCloseMessagePayload&>(request.payload).Duration();
    if (duration == 0) {
        duration = kShortestDuration;
        if (request.isEventResponse) {
            MUX_LOG(plog::warning) << "LOCK_OPEN_CLOSE duration set to zero. Defaulted to 1";
        }
    }
    return request.gateway.OpenCloseLock(request.messageID, AddressOf(request), duration, request.isEventResponse,
                                         request.context);
}

bool AccessDenied(const RoutedRequest& request) {
    if (request.isEventResponse) {
        MUX_LOG(plog::debug) << "Access denied as a response to a card reader event received.";
    }
    return request.gateway.AccessDenied(request.messageID, AddressOf(request), request.isEventResponse,
                                        request.context);
}

bool AddToWhitelist(const RoutedRequest& request) {
    const auto& card = static_cast<const MuxWhitelistSetPayload&>(request.payload);
    MUX_LOG(plog::debug) << (card.IsUIDCard()
                                 ? "Using AddWhitelistEntry with UID card data type specified."
                                 : "Using AddWhitelistEntry with a different card data type than UID specified.");
    return request.gateway.AddWhitelistEntry(request.messageID, AddressOf(request), card.IsUIDCard(),
                                             static_cast<std::uint8_t>(card.SetupNumber()), card.Options() != 0,
                                             card.CardData(), request.context);
}

bool RemoveFromWhitelist(const RoutedRequest& request) {
    const auto& card = static_cast<const MuxWhitelistSetPayload&>(request.payload);
    MUX_LOG(plog::debug) << (card.IsUIDCard()
                                 ? "Using RemoveWhitelistEntry with UID card data type specified."
                                 : "Using RemoveWhitelistEntry with a different card data type than UID specified");
    return request.gateway.RemoveWhitelistEntry(request.messageID, AddressOf(request), card.IsUIDCard(),
                                                static_cast<std::uint8_t>(card.SetupNumber()), card.CardData(),
                                                request.context);
}

bool ClearWhitelist(const RoutedRequest& request) {
    MUX_LOG(plog::debug) << "Sending CLEAR_WHITELIST to Virtual Gateway using gateway id" << request.payload.GatewayID()
                         << " and device address " << request.payload.LockID();
    return request.gateway.ClearWhiteList(request.messageID, AddressOf(request), request.context);
}

bool EnableWhitelist(const RoutedRequest& request) {
    return request.gateway.EnableWhitelist(request.messageID, AddressOf(request), request.context);
}

bool DisableWhitelist(const RoutedRequest& request) {
    return request.gateway.DisableWhitelist(request.messageID, AddressOf(request), request.context);
}

constexpr const char* kNoStatusPayload = "Paylaod for LOCK_GETSTATUS is nullptr. Message cannot be routed to gateway.";
constexpr const char* kNoOpenClosePayload = "Current data payload for LOCK_OPEN_CLOSE is null. Nothing can be done.";
constexpr const char* kNoSetPayload = "Current data payload for LOCK_WHITELIST_SET is null. Nothing can be done.";
constexpr const char* kNoRemovePayload = "Current data payload for LOCK_WHITELIST_REMOVE is null. Nothing can be done.";
constexpr const char* kNoDeniedPayload = "MUX_MESSAGE_ACCESS_DENIED payload is nullptr.";
constexpr const char* kNoClearPayload = "MUX_MESSAGE_CLEAR_WHITELIST payload is nullptr.";
constexpr const char* kNoEnablePayload = "MUX_MESSAGE_ENABLE_WHITELIST payload is nullptr.";
constexpr const char* kNoDisablePayload = "MUX_MESSAGE_DISABLE_WHITELIST payload is nullptr.";
constexpr const char* kAllowedUnsupported =
    "Access allowed message received, but it's currently not supported by the Brenk gateway.";

// The rows of the whitelist codes and of the lock codes belong to the payload types that their parsers make; the
// operations above rely on it.
constexpr Route kRoutes[] = {
    {MUX_MESSAGE_LOCK_OPEN, "LOCK OPEN", "LOCK_OPEN", "", "", false, OpenLock},
    {MUX_MESSAGE_LOCK_CLOSE, "LOCK CLOSE", "LOCK_CLOSE", "", "", false, CloseLock},
    {MUX_MESSAGE_LOCK_GET_STATUS, "LOCK GET-STATUS", "LOCK_GETSTATUS", kNoStatusPayload, "", false, GetStatus},
    {MUX_MESSAGE_LOCK_OPEN_CLOSE, "LOCK OPEN-CLOSE", "LOCK_OPEN_CLOSE", kNoOpenClosePayload, "", false, OpenCloseLock},
    {MUX_MESSAGE_ACCESS_DENIED, "ACCESS DENIED", "MUX_MESSAGE_ACCESS_DENIED", kNoDeniedPayload, "", false,
     AccessDenied},
    {MUX_MESSAGE_WHITELIST_GET, "WHITELIST GET", "WHITELIST_GET", "", "", false, nullptr},
    {MUX_MESSAGE_LOCK_WHITELIST_SET, "WHITELIST SET", "LOCK_WHITELIST_SET", kNoSetPayload, "", false, AddToWhitelist},
    {MUX_MESSAGE_CLEAR_WHITELIST, "WHITELIST CLEAR", "MUX_MESSAGE_CLEAR_WHITELIST", kNoClearPayload, "", false,
     ClearWhitelist},
    {MUX_MESSAGE_ENABLE_WHITELIST, "WHITELIST ENABLE", "MUX_MESSAGE_ENABLE_WHITELIST", kNoEnablePayload, "", false,
     EnableWhitelist},
    {MUX_MESSAGE_DISABLE_WHITELIST, "WHITELIST DISABLE", "MUX_MESSAGE_DISABLE_WHITELIST", kNoDisablePayload, "", false,
     DisableWhitelist},
    {MUX_MESSAGE_LOCK_WHITELIST_REMOVE, "", "LOCK_WHITELIST_REMOVE", kNoRemovePayload, "", false, RemoveFromWhitelist},
    {MUX_MESSAGE_ACCESS_ALLOWED, "", "ACCESS_ALLOWED", "", kAllowedUnsupported, false, nullptr},
    {MUX_MESSAGE_EVENT_LOCK_OPEN, "LOCK OPEN EVENT RESPONSE", "LOCK_OPEN", "", "", true, OpenLock},
    {MUX_MESSAGE_EVENT_LOCK_CLOSE, "LOCK CLOSE EVENT RESPONSE", "LOCK_CLOSE", "", "", true, CloseLock},
    {MUX_MESSAGE_EVENT_LOCK_OPEN_CLOSE, "LOCK OPEN-CLOSE EVENT RESPONSE", "LOCK_OPEN_CLOSE", kNoOpenClosePayload, "",
     true, OpenCloseLock},
    {MUX_MESSAGE_EVENT_ACCESS_DENIED, "EVENT ACCESS DENIED", "MUX_MESSAGE_ACCESS_DENIED", kNoDeniedPayload, "", true,
     AccessDenied},
};

}  // namespace

const Route* FindRoute(std::int32_t messageCode) {
    for (const Route& route : kRoutes) {
        if (route.messageCode == messageCode) {
            return &route;
        }
    }
    return nullptr;
}

}  // namespace Mux
