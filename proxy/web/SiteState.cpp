#include "proxy/web/SiteState.h"

#include <algorithm>
#include <array>

#include "proxy/audit/AuditText.h"
#include "proxy/mqtt/MessageMaker.h"
#include "proxy/requests/JsonObject.h"

namespace MuxProxy {
namespace {

constexpr std::array<Right, kRightCount> kAllRights = {Right::kOpen,   Right::kClose,        Right::kOpenClose,
                                                       Right::kStatus, Right::kAccessDenied, Right::kWhitelist,
                                                       Right::kEvents};

WallClockTime Now() {
    return std::chrono::system_clock::now();
}

// In the JSON of a row and of what is under way: others' names are for auditors.
void AddClient(JsonObject& object, const std::string& client, const Viewer& viewer) {
    if (viewer.isAuditor || client == viewer.name) {
        object.Text("client", client);
    } else {
        object.Value("client", "null");
    }
}

AuditRow RowOf(const TakenRequest& request) {
    AuditRow row;
    row.kind = "request";
    row.client = request.client;
    row.operation = request.content.kind->name;
    row.gateway = request.content.lock.gateway;
    row.lock = request.content.lock.lock;
    row.card = request.content.card.data;
    return row;
}

}  // namespace

SiteState::SiteState(const MuxLocks& locks, std::shared_ptr<const Rights> rights)
    : locks_(locks), start_(std::to_string(MillisecondsOf(Now()))), rights_(std::move(rights)) {
    for (const MuxLock& lock : locks) {
        places_.emplace(KeyOf(lock.address), doors_.size());
        doors_.push_back({lock, {}, {}, {}, {}});
    }
}

void SiteState::TakeHistory(const std::vector<AuditRow>& rows) {
    for (const AuditRow& row : rows) {
        const bool isEvent = row.kind == "event";
        const bool isAnswered = row.kind == "request" && !row.result.empty() && !row.client.empty();
        if (row.gateway && row.lock && (isEvent || isAnswered)) {
            AddRow(row, "");
        }
    }
}

MuxClient::LockAddress SiteState::LockOf(const AuditRow& row) const {
    return LockOfRow(row, locks_);
}

const SiteState::Door* SiteState::FindDoor(const MuxClient::LockAddress& lock) const {
    const auto place = places_.find(KeyOf(lock));
    return place != places_.end() ? &doors_[place->second] : nullptr;
}

SiteState::Door* SiteState::DoorOf(const MuxClient::LockAddress& lock) {
    const auto place = places_.find(KeyOf(lock));
    if (place != places_.end()) {
        return &doors_[place->second];
    }
    if (doors_.size() >= locks_.size() + kMostOtherDoors) {
        return nullptr;
    }
    places_.emplace(KeyOf(lock), doors_.size());
    doors_.push_back({{lock, "", ""}, {}, {}, {}, {}});
    return &doors_.back();
}

const PageRow* SiteState::AddRow(AuditRow row, const std::string& wholeCard) {
    const MuxClient::LockAddress lock = LockOf(row);
    const bool isEvent = row.kind == "event";
    row.lock = lock.lock;
    rows_.push_back({++lastRow_, std::move(row), !wholeCard.empty()});
    if (rows_.size() > kMostRows) {
        rows_.pop_front();
    }
    const PageRow& added = rows_.back();
    if (added.hasCard) {
        cards_.push_back({added, wholeCard});
    }
    if (cards_.size() > kMostCards) {
        cards_.pop_front();
    }
    const bool isOfDoor = isEvent || added.row.result == "ack";
    Door* const door = isOfDoor || FindDoor(lock) != nullptr ? DoorOf(lock) : nullptr;
    if (door != nullptr) {
        (isEvent ? door->lastEvent : door->lastResult) = added;
    }
    return &added;
}

const PageRow* SiteState::EventCame(const AuditRow& event) {
    if (!event.gateway || !event.lock) {
        return nullptr;
    }
    return AddRow(Storable(event, false), event.operation == "pin" ? "" : event.card);
}

void SiteState::RequestTaken(const TakenRequest& request) {
    if (FindDoor(request.content.lock) != nullptr) {
        DoorOf(request.content.lock)
            ->busy.emplace(request.number, Busy{request.content.kind->name, request.client, Now()});
    }
}

const PageRow* SiteState::RequestEnded(const TakenRequest& request, const RequestEnding& ending) {
    AuditRow row = Storable(RowOf(request), false);
    row.result = ending.result;
    row.errorCode = ending.errorCode;
    row.elapsed = ending.elapsed;
    if (FindDoor(request.content.lock) != nullptr) {
        DoorOf(request.content.lock)->busy.erase(request.number);
    }
    return request.client.empty() ? nullptr : AddRow(std::move(row), "");
}

bool SiteState::StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) {
    Door* const door = DoorOf(lock);
    if (door == nullptr) {
        return false;
    }
    JsonObject battery;
    battery.Number("time", MillisecondsOf(Now()));
    AddStatus(battery, status);
    door->battery = battery.Json();
    return true;
}

bool SiteState::MayDo(Right right, const MuxClient::LockAddress& lock, const Viewer& viewer) const {
    return rights_->Allows(viewer.name, right, lock);
}

bool SiteState::SeesDoor(const MuxClient::LockAddress& lock, const Viewer& viewer) const {
    return std::any_of(kAllRights.begin(), kAllRights.end(), [&](Right right) { return MayDo(right, lock, viewer); });
}

bool SiteState::SeesGateway(std::int32_t gateway, const Viewer& viewer) const {
    return std::any_of(doors_.begin(), doors_.end(), [&](const Door& door) {
        return door.lock.address.gateway == gateway && SeesDoor(door.lock.address, viewer);
    });
}

bool SiteState::SeesAnyDoor(const Viewer& viewer) const {
    return std::any_of(doors_.begin(), doors_.end(),
                       [&](const Door& door) { return SeesDoor(door.lock.address, viewer); });
}

bool SiteState::SeesRequest(const std::string& client, const std::string& operation, const MuxClient::LockAddress& lock,
                            const Viewer& viewer) const {
    const RequestKind* const kind = FindRequestKind(operation);
    return SeesDoor(lock, viewer) &&
           (client == viewer.name || viewer.isAuditor || (kind != nullptr && MayDo(kind->right, lock, viewer)));
}

bool SiteState::Sees(const PageRow& row, const Viewer& viewer) const {
    const MuxClient::LockAddress lock{*row.row.gateway, *row.row.lock};
    return row.row.kind == "event"
               ? rights_->SeesEvent(viewer.name, lock.gateway, static_cast<std::uint16_t>(lock.lock))
               : SeesRequest(row.row.client, row.row.operation, lock, viewer);
}

std::size_t SiteState::CountFrom(std::uint64_t number, const Viewer& viewer) const {
    return static_cast<std::size_t>(std::count_if(
        rows_.begin(), rows_.end(), [&](const PageRow& row) { return row.number >= number && Sees(row, viewer); }));
}

bool SiteState::MayEnterCards(const Viewer& viewer) const {
    const std::vector<const Rule*> rules = rights_->RulesOf(viewer.name);
    return std::any_of(rules.begin(), rules.end(),
                       [](const Rule* rule) { return rule->rights.test(static_cast<std::size_t>(Right::kWhitelist)); });
}

std::string SiteState::CardOf(std::uint64_t row, const Viewer& viewer) const {
    const auto found =
        std::find_if(cards_.begin(), cards_.end(), [row](const Card& card) { return card.event.number == row; });
    return found != cards_.end() && Sees(found->event, viewer) ? found->digits : "";
}

std::string SiteState::RowText(const PageRow& row, const Viewer& viewer) const {
    const AuditRow& content = row.row;
    JsonObject object;
    object.Number("n", static_cast<std::int64_t>(row.number))
        .Number("time", MillisecondsOf(content.time))
        .Text("kind", content.kind)
        .Text("operation", content.operation)
        .Number("gateway", *content.gateway)
        .Number("lock", *content.lock)
        .Text("card", content.card)
        .Text("result", content.result)
        .Number("errorCode", content.errorCode)
        .Number("milliseconds", content.elapsed.count());
    AddClient(object, content.client, viewer);
    if (row.hasCard && MayEnterCards(viewer)) {
        object.Flag("cardEvent", true);
    }
    return object.Json();
}

std::string SiteState::RowOrNull(const std::optional<PageRow>& row, const Viewer& viewer) const {
    return row && Sees(*row, viewer) ? RowText(*row, viewer) : "";
}

std::string SiteState::BusyArray(const Door& door, const Viewer& viewer) const {
    std::vector<std::string> texts;
    for (const auto& [number, busy] : door.busy) {
        if (!SeesRequest(busy.client, busy.operation, door.lock.address, viewer)) {
            continue;
        }
        JsonObject object;
        object.Text("operation", busy.operation).Number("since", MillisecondsOf(busy.since));
        AddClient(object, busy.client, viewer);
        texts.push_back(object.Json());
    }
    return JsonArray(texts);
}

std::string SiteState::BusyText(const MuxClient::LockAddress& lock, const Viewer& viewer) const {
    const Door* const door = FindDoor(lock);
    JsonObject object;
    object.Number("gateway", lock.gateway)
        .Number("lock", lock.lock)
        .Value("busy", door != nullptr ? BusyArray(*door, viewer) : "[]");
    return object.Json();
}

std::string SiteState::BatteryOf(const Door& door, const Viewer& viewer) const {
    return MayDo(Right::kStatus, door.lock.address, viewer) ? door.battery : "";
}

std::string SiteState::BatteryText(const MuxClient::LockAddress& lock, const Viewer& viewer) const {
    const Door* const door = FindDoor(lock);
    JsonObject object;
    object.Number("gateway", lock.gateway)
        .Number("lock", lock.lock)
        .Value("battery", door != nullptr ? BatteryOf(*door, viewer) : "");
    return object.Json();
}

std::string SiteState::DoorText(const Door& door, const Viewer& viewer) const {
    const MuxClient::LockAddress& lock = door.lock.address;
    std::vector<std::string> rights;
    for (const Right right : kAllRights) {
        if (MayDo(right, lock, viewer)) {
            rights.push_back('"' + std::string(RightName(right)) + '"');
        }
    }
    JsonObject object;
    object.Number("gateway", lock.gateway)
        .Text("gatewayName", door.lock.gatewayName)
        .Number("lock", lock.lock)
        .Text("name", door.lock.name)
        .Values("rights", rights)
        .Value("lastEvent", RowOrNull(door.lastEvent, viewer))
        .Value("lastResult", RowOrNull(door.lastResult, viewer))
        .Value("battery", BatteryOf(door, viewer))
        .Value("busy", BusyArray(door, viewer));
    return object.Json();
}

std::string SiteState::SiteText(const Viewer& viewer) const {
    std::vector<std::string> doors;
    for (const Door& door : doors_) {
        if (SeesDoor(door.lock.address, viewer)) {
            doors.push_back(DoorText(door, viewer));
        }
    }
    std::vector<std::string> rows;
    for (const PageRow& row : rows_) {
        if (Sees(row, viewer)) {
            rows.push_back(RowText(row, viewer));
        }
    }
    return JsonObject()
        .Number("time", MillisecondsOf(Now()))
        .Text("start", start_)
        .Values("doors", doors)
        .Values("rows", rows)
        .Json();
}

}  // namespace MuxProxy
