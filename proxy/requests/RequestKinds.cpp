#include "proxy/requests/RequestKinds.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "proxy/requests/ProxyRequest.h"

namespace MuxProxy {
namespace {

using Code = MuxClient::MessageCode;
using MuxClient::Occasion;
using MuxClient::Request;

constexpr std::array<std::string_view, kRightCount> kRightNames = {"open",          "close",     "open-close", "status",
                                                                   "access-denied", "whitelist", "events"};

constexpr bool kChanges = true;
constexpr bool kDuration = true;
constexpr bool kCard = true;

template <Occasion occasion>
Request Open(const ProxyRequest& request) {
    return Request::Open(request.lock, occasion);
}

template <Occasion occasion>
Request Close(const ProxyRequest& request) {
    return Request::Close(request.lock, occasion);
}

template <Occasion occasion>
Request OpenAndClose(const ProxyRequest& request) {
    return Request::OpenAndClose(request.lock, request.duration, occasion);
}

template <Occasion occasion>
Request DenyAccess(const ProxyRequest& request) {
    return Request::DenyAccess(request.lock, occasion);
}

template <Request (*make)(const MuxClient::LockAddress&)>
Request OfLock(const ProxyRequest& request) {
    return make(request.lock);
}

template <Request (*make)(const MuxClient::LockAddress&, const MuxClient::Card&)>
Request OfCard(const ProxyRequest& request) {
    return make(request.lock, request.card);
}

constexpr Occasion kCommand = Occasion::kCommand;
constexpr Occasion kEvent = Occasion::kEvent;

constexpr RequestKind kKinds[] = {
    {Code::kLockOpen, "open", Right::kOpen, kChanges, !kDuration, !kCard, Open<kCommand>},
    {Code::kLockClose, "close", Right::kClose, kChanges, !kDuration, !kCard, Close<kCommand>},
    {Code::kLockGetStatus, "status", Right::kStatus, !kChanges, !kDuration, !kCard, OfLock<Request::Status>},
    {Code::kLockOpenClose, "open-close", Right::kOpenClose, kChanges, kDuration, !kCard, OpenAndClose<kCommand>},
    {Code::kAccessDenied, "access-denied", Right::kAccessDenied, !kChanges, !kDuration, !kCard, DenyAccess<kCommand>},
    {Code::kWhitelistAdd, "whitelist-add", Right::kWhitelist, kChanges, !kDuration, kCard,
     OfCard<Request::AddToWhitelist>},
    {Code::kWhitelistClear, "whitelist-clear", Right::kWhitelist, kChanges, !kDuration, !kCard,
     OfLock<Request::ClearWhitelist>},
    {Code::kWhitelistEnable, "whitelist-enable", Right::kWhitelist, kChanges, !kDuration, !kCard,
     OfLock<Request::EnableWhitelist>},
    {Code::kWhitelistDisable, "whitelist-disable", Right::kWhitelist, kChanges, !kDuration, !kCard,
     OfLock<Request::DisableWhitelist>},
    {Code::kWhitelistRemove, "whitelist-remove", Right::kWhitelist, kChanges, !kDuration, kCard,
     OfCard<Request::RemoveFromWhitelist>},
    {Code::kEventLockOpen, "event-open", Right::kOpen, kChanges, !kDuration, !kCard, Open<kEvent>},
    {Code::kEventLockClose, "event-close", Right::kClose, kChanges, !kDuration, !kCard, Close<kEvent>},
    {Code::kEventLockOpenClose, "event-open-close", Right::kOpenClose, kChanges, kDuration, !kCard,
     OpenAndClose<kEvent>},
    {Code::kEventAccessDenied, "event-access-denied", Right::kAccessDenied, !kChanges, !kDuration, !kCard,
     DenyAccess<kEvent>},
};

}  // namespace

std::string_view RightName(Right right) {
    return kRightNames.at(static_cast<std::size_t>(right));
}

const RequestKind* FindRequestKind(std::int32_t code) {
    const auto hasCode = [code](const RequestKind& kind) { return static_cast<std::int32_t>(kind.code) == code; };
    const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds), hasCode);
    return kind != std::end(kKinds) ? kind : nullptr;
}

const RequestKind* FindRequestKind(std::string_view name) {
    const auto hasName = [name](const RequestKind& kind) { return kind.name == name; };
    const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds), hasName);
    return kind != std::end(kKinds) ? kind : nullptr;
}

}  // namespace MuxProxy
