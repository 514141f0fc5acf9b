// How a request becomes an operation of a gateway.

#include "mux/Routing.h"

#include <cstdint>
#include <string>

#include "diagnostics/Log.h"
#include "gateway/VirtualGateway.h"
#include "mux/messages/RequestPayloads.h"
#include "mux/messages/RequestTable.h"

namespace Mux {
namespace {

constexpr std::uint8_t kShortestDuration = 1;
constexpr std::uint8_t kNoDelay = 0;

// One request on its way into a gateway operation.
struct RoutedRequest {
    Brenk::VirtualGateway& gateway;
    const std::string& messageID;
    const MuxLockRequestPayload& payload;
    bool answersEvent;
    void* context;
};

std::uint32_t AddressOf(const RoutedRequest& request) {
    return static_cast<std::uint32_t>(request.payload.LockID());
}

bool OpenLock(const RoutedRequest& request) {
    return request.gateway.OpenLock(request.messageID, AddressOf(request), kNoDelay, request.answersEvent,
                                    request.context);
}

bool CloseLock(const RoutedRequest& request) {
    return request.gateway.CloseLock(request.messageID, AddressOf(request), kNoDelay, request.answersEvent,
                                     request.context);
}

bool GetStatus(const RoutedRequest& request) {
    return request.gateway.GetNodeStatus(request.messageID, AddressOf(request), request.context);
}

bool OpenCloseLock(const RoutedRequest& request) {
    std::uint8_t duration = static_cast<const MuxLockOpenCloseMessagePayload&>(request.payload).Duration();
    if (duration == 0) {
        duration = kShortestDuration;
        if (request.answersEvent) {
            MUX_LOG(plog::warning) << "LOCK_OPEN_CLOSE duration set to zero. Defaulted to 1";
        }
    }
    return request.gateway.OpenCloseLock(request.messageID, AddressOf(request), duration, request.answersEvent,
                                         request.context);
}

bool DenyAccess(const RoutedRequest& request) {
    if (request.answersEvent) {
        MUX_LOG(plog::debug) << "Access denied as a response to a card reader event received.";
    }
    return request.gateway.AccessDenied(request.messageID, AddressOf(request), request.answersEvent, request.context);
}

bool AddCard(const RoutedRequest& request) {
    const auto& card = static_cast<const MuxWhitelistSetPayload&>(request.payload);
    MUX_LOG(plog::debug) << (card.IsUIDCard()
                                 ? "Using AddWhitelistEntry with UID card data type specified."
                                 : "Using AddWhitelistEntry with a different card data type than UID specified.");
    return request.gateway.AddWhitelistEntry(request.messageID, AddressOf(request), card.IsUIDCard(),
                                             static_cast<std::uint8_t>(card.SetupNumber()), card.Options() != 0,
                                             card.CardData(), request.context);
}

bool RemoveCard(const RoutedRequest& request) {
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

// Each operation relies on the payload that the table of requests has for it.
bool Perform(GatewayOperation operation, const RoutedRequest& request) {
    switch (operation) {
        case GatewayOperation::kNone:
            break;
        case GatewayOperation::kGetStatus:
            return GetStatus(request);
        case GatewayOperation::kOpenLock:
            return OpenLock(request);
        case GatewayOperation::kCloseLock:
            return CloseLock(request);
        case GatewayOperation::kOpenCloseLock:
            return OpenCloseLock(request);
        case GatewayOperation::kDenyAccess:
            return DenyAccess(request);
        case GatewayOperation::kAddCard:
            return AddCard(request);
        case GatewayOperation::kRemoveCard:
            return RemoveCard(request);
        case GatewayOperation::kClearWhitelist:
            return ClearWhitelist(request);
        case GatewayOperation::kEnableWhitelist:
            return EnableWhitelist(request);
        case GatewayOperation::kDisableWhitelist:
            return DisableWhitelist(request);
    }
    return false;
}

// Empty for a request without a duration.
std::string DurationText(const MuxLockOpenCloseMessagePayload* request) {
    return request == nullptr ? "" : ". Duration is " + std::to_string(request->Duration());
}

}  // namespace

void LogReceivedRequest(const MuxMessage& message) {
    const RequestKind* const kind = FindRequest(message.MessageCode());
    if (kind == nullptr || kind->operation == GatewayOperation::kNone) {
        return;
    }
    const auto* const request = dynamic_cast<const MuxLockRequestPayload*>(message.Payload());
    if (request == nullptr) {
        MUX_LOG(plog::error) << "The message " << kind->codeName << " is nullptr.";
        return;
    }
    const auto* const openClose = dynamic_cast<const MuxLockOpenCloseMessagePayload*>(request);
    MUX_LOG(plog::debug) << "The message is " << kind->codeName << ", and the lockID is " << request->LockID()
                         << " on gateway " << request->GatewayID() << DurationText(openClose);
}

bool RouteToGateway(const MuxMessage& message, const GatewayCollections& gateways, void* context) {
    if (gateways.gatewaysByID.empty()) {
        return false;
    }
    const RequestKind* const kind = FindRequest(message.MessageCode());
    MUX_LOG(plog::verbose) << "Prepare to send message " << (kind == nullptr ? "" : kind->logName);
    if (kind == nullptr) {
        return false;
    }
    if (kind->operation == GatewayOperation::kNone) {
        if (*kind->unsupportedText != '\0') {
            MUX_LOG(plog::warning) << kind->unsupportedText;
        }
        return false;
    }
    const auto* const payload = dynamic_cast<const MuxLockRequestPayload*>(message.Payload());
    if (payload == nullptr) {
        if (*kind->noPayloadText != '\0') {
            MUX_LOG(plog::error) << kind->noPayloadText;
        }
        return false;
    }
    const auto gateway = gateways.gatewaysByID.find(payload->GatewayID());
    if (gateway == gateways.gatewaysByID.end()) {
        MUX_LOG(plog::warning) << "Cannot find requested gateway for " << kind->codeName;
        return false;
    }
    return Perform(kind->operation, {*gateway->second, message.MessageID(), *payload, kind->answersEvent, context});
}

}  // namespace Mux
