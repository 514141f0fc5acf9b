#include "proxy/requests/RequestKinds.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace MuxProxy {
namespace {

using Code = MuxClient::MessageCode;

constexpr std::array<std::string_view, kRightCount> kRightNames = {"open",          "close",     "open-close", "status",
                                                                   "access-denied", "whitelist", "events"};

constexpr bool kChanges = true;
constexpr bool kDuration = true;
constexpr bool kCard = true;

constexpr RequestKind kKinds[] = {
    {Code::kLockOpen, "open", Right::kOpen, kChanges, !kDuration, !kCard},
    {Code::kLockClose, "close", Right::kClose, kChanges, !kDuration, !kCard},
    {Code::kLockGetStatus, "status", Right::kStatus, !kChanges, !kDuration, !kCard},
    {Code::kLockOpenClose, "open-close", Right::kOpenClose, kChanges, kDuration, !kCard},
    {Code::kAccessDenied, "access-denied", Right::kAccessDenied, !kChanges, !kDuration, !kCard},
    {Code::kWhitelistAdd, "whitelist-add", Right::kWhitelist, kChanges, !kDuration, kCard},
    {Code::kWhitelistClear, "whitelist-clear", Right::kWhitelist, kChanges, !kDuration, !kCard},
    {Code::kWhitelistEnable, "whitelist-enable", Right::kWhitelist, kChanges, !kDuration, !kCard},
    {Code::kWhitelistDisable, "whitelist-disable", Right::kWhitelist, kChanges, !kDuration, !kCard},
    {Code::kWhitelistRemove, "whitelist-remove", Right::kWhitelist, kChanges, !kDuration, kCard},
    {Code::kEventLockOpen, "event-open", Right::kOpen, kChanges, !kDuration, !kCard},
    {Code::kEventLockClose, "event-close", Right::kClose, kChanges, !kDuration, !kCard},
    {Code::kEventLockOpenClose, "event-open-close", Right::kOpenClose, kChanges, kDuration, !kCard},
    {Code::kEventAccessDenied, "event-access-denied", Right::kAccessDenied, !kChanges, !kDuration, !kCard},
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

}  // namespace MuxProxy
