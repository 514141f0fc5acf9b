#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "proxy/audit/AuditLog.h"
#include "proxy/configuration/MuxLocks.h"
#include "proxy/dispatch/Dispatcher.h"
#include "proxy/rights/Rights.h"
#include "tools/client/Message.h"

namespace MuxProxy {

using WallClockTime = std::chrono::system_clock::time_point;

// Who looks at the site. A value.
struct Viewer {
    std::string name;
    bool isAuditor = false;
};

// A row of the page: an event, or a request that has ended.
struct PageRow {
    std::uint64_t number = 0;
    AuditRow row;
    // Of an event: whether its card is kept for whitelist requests.
    bool hasCard = false;
};

// What the proxy knows of the site's doors: for each its last event, last result, battery and what is under way; and
// the last rows. What a viewer may not see is left out of the texts for it.
//
// Doors are the locks of the Mux's file, and others once they are in an event or have answered. For the network loop.
class SiteState {
  public:
    // How many rows are kept, how many cards of events, and how many doors that the Mux's file does not have.
    static constexpr std::size_t kMostRows = 200;
    static constexpr std::size_t kMostCards = 200;
    static constexpr std::size_t kMostOtherDoors = 1000;

    SiteState(const MuxLocks& locks, std::shared_ptr<const Rights> rights);

    void SetRights(std::shared_ptr<const Rights> rights) { rights_ = std::move(rights); }
    // Immutable.
    std::shared_ptr<const Rights> TheRights() const { return rights_; }

    // What happened before the start, oldest first.
    void TakeHistory(const std::vector<AuditRow>& rows);

    // These return the row that came, if it is about a lock and not the proxy's own question.
    const PageRow* EventCame(const AuditRow& event);
    const PageRow* RequestEnded(const TakenRequest& request, const RequestEnding& ending);

    void RequestTaken(const TakenRequest& request);
    // False if it is not a door of the site.
    bool StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status);

    // How many of the kept rows with this number or a higher one the viewer sees.
    std::size_t CountFrom(std::uint64_t number, const Viewer& viewer) const;

    // The card of an event that is kept; empty if there is none, or the viewer may not see the event.
    std::string CardOf(std::uint64_t row, const Viewer& viewer) const;

    // JSON: members of the event "site", one row, and what is under way at a door or its battery.
    std::string SiteText(const Viewer& viewer) const;
    std::string RowText(const PageRow& row, const Viewer& viewer) const;
    std::string BusyText(const MuxClient::LockAddress& lock, const Viewer& viewer) const;
    std::string BatteryText(const MuxClient::LockAddress& lock, const Viewer& viewer) const;

    // Events with the right to them; requests that are the viewer's own, or that it may make itself; auditors all of
    // their doors.
    bool Sees(const PageRow& row, const Viewer& viewer) const;
    bool SeesAnyDoor(const Viewer& viewer) const;
    bool SeesDoor(const MuxClient::LockAddress& lock, const Viewer& viewer) const;
    // Whether it is the gateway of a door that the viewer sees.
    bool SeesGateway(std::int32_t gateway, const Viewer& viewer) const;
    bool MayDo(Right right, const MuxClient::LockAddress& lock, const Viewer& viewer) const;

  private:
    using Key = std::pair<std::int32_t, std::int32_t>;

    struct Busy {
        std::string operation;
        std::string client;
        WallClockTime since;
    };

    struct Door {
        MuxLock lock;
        std::optional<PageRow> lastEvent;
        std::optional<PageRow> lastResult;
        // JSON; empty when it is not known.
        std::string battery;
        std::map<RequestNumber, Busy> busy;
    };

    static Key KeyOf(const MuxClient::LockAddress& lock) { return {lock.gateway, lock.lock}; }

    MuxClient::LockAddress LockOf(const AuditRow& row) const;
    // Null if there is none and there are too many.
    Door* DoorOf(const MuxClient::LockAddress& lock);
    const Door* FindDoor(const MuxClient::LockAddress& lock) const;
    // A card that an event brought.
    struct Card {
        PageRow event;
        std::string digits;
    };

    const PageRow* AddRow(AuditRow row, const std::string& wholeCard);
    bool SeesRequest(const std::string& client, const std::string& operation, const MuxClient::LockAddress& lock,
                     const Viewer& viewer) const;
    bool MayEnterCards(const Viewer& viewer) const;
    std::string BatteryOf(const Door& door, const Viewer& viewer) const;
    std::string DoorText(const Door& door, const Viewer& viewer) const;
    std::string BusyArray(const Door& door, const Viewer& viewer) const;
    std::string RowOrNull(const std::optional<PageRow>& row, const Viewer& viewer) const;

    const MuxLocks locks_;
    // Different for each run.
    const std::string start_;
    std::shared_ptr<const Rights> rights_;
    // In the order of the Mux's file, then by their coming.
    std::vector<Door> doors_;
    std::map<Key, std::size_t> places_;
    std::deque<PageRow> rows_;
    // By themselves, so that other rows push none out.
    std::deque<Card> cards_;
    std::uint64_t lastRow_ = 0;
};

}  // namespace MuxProxy
