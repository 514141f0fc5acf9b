#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "proxy/web/HttpSession.h"
#include "proxy/web/SiteHealth.h"
#include "proxy/web/SiteState.h"
#include "proxy/web/WebSessions.h"

namespace MuxProxy {

// The streams of events to open pages. What comes is collected for a moment and sent to each page that may see it. A
// page that is too slow is sent no rows meanwhile, but how many it missed, and then the state of the site anew. For the
// network loop.
class LiveStreams {
  public:
    static constexpr std::size_t kMost = 200;
    static constexpr std::size_t kMostOfName = 60;
    static constexpr std::chrono::milliseconds kCollecting{50};
    static constexpr std::chrono::seconds kBetweenSigns{15};
    // What waits for a page that counts as too slow.
    static constexpr std::size_t kMostWaiting = 128U << 10U;
    // The state of a large site is long: how much of it goes out at once, so that the loop has time for others, and
    // what may wait for all pages together.
    static constexpr std::size_t kStatesAtOnce = 256U << 10U;
    static constexpr std::size_t kMostWaitingTogether = 16U << 20U;

    // What the streams ask about who looks.
    struct Ports {
        // Whether the session still lives; counts as its use.
        std::function<bool(WebSessionNumber)> use;
        std::function<Viewer(const std::string& name)> viewerOf;
    };

    // All outlive it.
    LiveStreams(boost::asio::io_context& loop, const SiteState& site, Ports ports);

    // Begins a stream, with the state of the site. False if there are too many.
    bool Add(HttpSession& connection, const WebSession& session);
    void Remove(HttpSession& connection);
    // The session has ended, and so do its streams.
    void EndSession(WebSessionNumber session);
    void Stop();

    bool IsEmpty() const { return streams_.empty(); }

    void RowCame(const PageRow& row);
    void BusyChanged(const MuxClient::LockAddress& lock);
    void BatteryChanged(const MuxClient::LockAddress& lock);
    // What viewers may see has changed.
    void RightsChanged();
    void HealthCame(const SiteHealth& health);

  private:
    using Key = std::pair<std::int32_t, std::int32_t>;

    struct Stream {
        HttpSession* connection = nullptr;
        WebSessionNumber session = 0;
        std::string name;
        // The state of the site is sent next: at the beginning, since rows were left out, or since rights have changed.
        bool needsSite = true;
        // Rows that were left out, and the number of the first; nothing before the first state.
        std::size_t missed = 0;
        std::optional<std::uint64_t> firstMissed;
        bool hasState = false;
        std::string health;
    };

    // Made once for all pages of one name.
    using NewsByName = std::map<std::string, std::string>;

    void Collect();
    void Flush();
    // What this pass may send of states; less is left afterwards.
    std::size_t RoomForStates() const;
    void FlushTo(Stream& stream, std::size_t& room, NewsByName& news);
    void Miss(Stream& stream, const Viewer& viewer) const;
    // What came, as the stream has it.
    std::string NewsFor(const Viewer& viewer) const;
    // Returns its length.
    std::size_t SendSite(Stream& stream, const Viewer& viewer);
    // Nothing if the page has it already, or may not see any.
    static void SendHealth(Stream& stream, const std::string& health, std::chrono::system_clock::time_point now);
    std::string HealthFor(const Viewer& viewer, std::chrono::system_clock::time_point now) const;
    std::vector<std::string> RowsFor(const Viewer& viewer) const;
    void SendSigns();

    const SiteState& site_;
    const Ports ports_;
    boost::asio::steady_timer collectTimer_;
    boost::asio::steady_timer signTimer_;
    std::map<HttpSession*, Stream> streams_;
    SiteHealth health_;
    // Since the last time.
    std::vector<PageRow> rows_;
    std::set<Key> busy_;
    std::set<Key> batteries_;
    bool isCollecting_ = false;
    bool isStopped_ = false;
};

}  // namespace MuxProxy
