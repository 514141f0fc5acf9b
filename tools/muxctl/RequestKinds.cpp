#include "tools/muxctl/RequestKinds.h"

namespace Muxctl {
namespace {

using MuxClient::Occasion;
using MuxClient::Request;
using Given = const RequestOptions&;

constexpr bool kDuration = true;
constexpr bool kEvent = true;
constexpr bool kCard = true;
constexpr bool kNoDuration = false;
constexpr bool kNoEvent = false;
constexpr bool kNoCard = false;

Occasion OccasionOf(Given options) {
    return options.answersEvent ? Occasion::kEvent : Occasion::kCommand;
}

Request Open(Given options) {
    return Request::Open(options.lock, OccasionOf(options));
}

Request Close(Given options) {
    return Request::Close(options.lock, OccasionOf(options));
}

Request OpenAndClose(Given options) {
    return Request::OpenAndClose(options.lock, options.duration, OccasionOf(options));
}

Request DenyAccess(Given options) {
    return Request::DenyAccess(options.lock, OccasionOf(options));
}

Request AddToWhitelist(Given options) {
    return Request::AddToWhitelist(options.lock, options.card);
}

Request RemoveFromWhitelist(Given options) {
    return Request::RemoveFromWhitelist(options.lock, options.card);
}

// A request that has nothing but its lock.
template <Request (*Build)(const MuxClient::LockAddress&)>
Request Plain(Given options) {
    return Build(options.lock);
}

const char* const kWhitelist = "whitelist";

}  // namespace

std::string RequestKind::FullName() const {
    return *group == '\0' ? name : std::string(group) + " " + name;
}

const std::vector<RequestKind>& RequestKinds() {
    static const std::vector<RequestKind> kinds = {
        {"", "status", "Read battery, mechanics and reader of a lock; not whether it is open", kNoDuration, kNoEvent,
         kNoCard, Plain<Request::Status>},
        {"", "open", "Open a lock until it is closed", kNoDuration, kEvent, kNoCard, Open},
        {"", "close", "Close a lock", kNoDuration, kEvent, kNoCard, Close},
        {"", "open-close", "Open a lock and close it again", kDuration, kEvent, kNoCard, OpenAndClose},
        {"", "access-denied", "Signal at a lock that access is denied", kNoDuration, kEvent, kNoCard, DenyAccess},
        {kWhitelist, "add", "Add a card", kNoDuration, kNoEvent, kCard, AddToWhitelist},
        {kWhitelist, "remove", "Remove a card", kNoDuration, kNoEvent, kCard, RemoveFromWhitelist},
        {kWhitelist, "clear", "Remove all cards", kNoDuration, kNoEvent, kNoCard, Plain<Request::ClearWhitelist>},
        {kWhitelist, "enable", "Enable the whitelist", kNoDuration, kNoEvent, kNoCard, Plain<Request::EnableWhitelist>},
        {kWhitelist, "disable", "Disable the whitelist", kNoDuration, kNoEvent, kNoCard,
         Plain<Request::DisableWhitelist>},
    };
    return kinds;
}

}  // namespace Muxctl
