#include "proxy/web/LiveStreams.h"

#include <algorithm>

#include "proxy/mqtt/MessageMaker.h"
#include "proxy/requests/JsonObject.h"
#include "proxy/web/WebReplies.h"

namespace MuxProxy {
namespace {

using Error = boost::system::error_code;

// A comment of the stream.
constexpr const char* kSign = ":\n\n";

MuxClient::LockAddress LockOf(const std::pair<std::int32_t, std::int32_t>& key) {
    return {key.first, key.second};
}

}  // namespace

LiveStreams::LiveStreams(boost::asio::io_context& loop, const SiteState& site, Ports ports)
    : site_(site), ports_(std::move(ports)), collectTimer_(loop), signTimer_(loop) {}

bool LiveStreams::Add(HttpSession& connection, const WebSession& session) {
    const std::string& name = session.login.name;
    const auto ofName = std::count_if(streams_.begin(), streams_.end(),
                                      [&name](const auto& stream) { return stream.second.name == name; });
    if (streams_.size() >= kMost || static_cast<std::size_t>(ofName) >= kMostOfName) {
        return false;
    }
    connection.BeginStream(StreamReply());
    Stream& stream = streams_[&connection];
    stream.connection = &connection;
    stream.session = session.number;
    stream.name = name;
    Collect();
    if (streams_.size() == 1) {
        SendSigns();
    }
    return true;
}

void LiveStreams::Remove(HttpSession& connection) {
    streams_.erase(&connection);
    if (streams_.empty()) {
        signTimer_.cancel();
    }
}

void LiveStreams::EndSession(WebSessionNumber session) {
    for (auto stream = streams_.begin(); stream != streams_.end();) {
        if (stream->second.session == session) {
            stream->first->Close("its session has ended");
            stream = streams_.erase(stream);
        } else {
            ++stream;
        }
    }
}

void LiveStreams::Stop() {
    isStopped_ = true;
    collectTimer_.cancel();
    signTimer_.cancel();
}

void LiveStreams::RowCame(const PageRow& row) {
    if (!streams_.empty()) {
        rows_.push_back(row);
        Collect();
    }
}

void LiveStreams::BusyChanged(const MuxClient::LockAddress& lock) {
    if (!streams_.empty()) {
        busy_.emplace(lock.gateway, lock.lock);
        Collect();
    }
}

void LiveStreams::BatteryChanged(const MuxClient::LockAddress& lock) {
    if (!streams_.empty()) {
        batteries_.emplace(lock.gateway, lock.lock);
        Collect();
    }
}

void LiveStreams::RightsChanged() {
    for (auto& [connection, stream] : streams_) {
        stream.needsSite = true;
    }
    Collect();
}

void LiveStreams::HealthCame(const SiteHealth& health) {
    health_ = health;
    const auto now = std::chrono::system_clock::now();
    std::map<std::string, std::string> texts;
    for (auto& [connection, stream] : streams_) {
        if (stream.needsSite || connection->WaitingBytes() > kMostWaiting) {
            continue;
        }
        const auto [text, isNew] = texts.try_emplace(stream.name);
        if (isNew) {
            text->second = HealthFor(ports_.viewerOf(stream.name), now);
        }
        SendHealth(stream, text->second, now);
    }
}

void LiveStreams::Collect() {
    if (isStopped_ || std::exchange(isCollecting_, true)) {
        return;
    }
    collectTimer_.expires_after(kCollecting);
    collectTimer_.async_wait([this](const Error& error) {
        isCollecting_ = false;
        if (!error && !isStopped_) {
            Flush();
        }
    });
}

void LiveStreams::Flush() {
    std::size_t room = RoomForStates();
    NewsByName news;
    for (auto& [connection, stream] : streams_) {
        FlushTo(stream, room, news);
    }
    rows_.clear();
    busy_.clear();
    batteries_.clear();
    if (std::any_of(streams_.begin(), streams_.end(), [](const auto& stream) { return stream.second.needsSite; })) {
        Collect();
    }
}

std::size_t LiveStreams::RoomForStates() const {
    std::size_t waiting = 0;
    for (const auto& [connection, stream] : streams_) {
        waiting += connection->WaitingBytes();
    }
    return waiting < kMostWaitingTogether ? kStatesAtOnce : 0;
}

void LiveStreams::FlushTo(Stream& stream, std::size_t& room, NewsByName& news) {
    const Viewer viewer = ports_.viewerOf(stream.name);
    if (stream.connection->WaitingBytes() > kMostWaiting) {
        stream.needsSite = true;
        Miss(stream, viewer);
    } else if (stream.needsSite && room > 0) {
        room -= std::min(room, SendSite(stream, viewer));
    } else if (stream.needsSite) {
        Miss(stream, viewer);
    } else {
        const auto [found, isNew] = news.try_emplace(stream.name);
        if (isNew) {
            found->second = NewsFor(viewer);
        }
        stream.connection->Stream(found->second);
    }
}

void LiveStreams::Miss(Stream& stream, const Viewer& viewer) const {
    if (!stream.hasState || rows_.empty()) {
        return;
    }
    stream.missed += static_cast<std::size_t>(
        std::count_if(rows_.begin(), rows_.end(), [&](const PageRow& row) { return site_.Sees(row, viewer); }));
    stream.firstMissed = stream.firstMissed.value_or(rows_.front().number);
}

std::vector<std::string> LiveStreams::RowsFor(const Viewer& viewer) const {
    std::vector<std::string> texts;
    for (const PageRow& row : rows_) {
        if (site_.Sees(row, viewer)) {
            texts.push_back(site_.RowText(row, viewer));
        }
    }
    return texts;
}

std::string LiveStreams::NewsFor(const Viewer& viewer) const {
    std::string text;
    if (const std::vector<std::string> rows = RowsFor(viewer); !rows.empty()) {
        text += StreamEvent("rows", JsonArray(rows));
    }
    for (const Key& key : busy_) {
        if (site_.SeesDoor(LockOf(key), viewer)) {
            text += StreamEvent("busy", site_.BusyText(LockOf(key), viewer));
        }
    }
    for (const Key& key : batteries_) {
        if (site_.MayDo(Right::kStatus, LockOf(key), viewer)) {
            text += StreamEvent("battery", site_.BatteryText(LockOf(key), viewer));
        }
    }
    return text;
}

// The state has the last of the rows that were left out.
std::size_t LiveStreams::SendSite(Stream& stream, const Viewer& viewer) {
    const std::size_t shown = stream.firstMissed ? site_.CountFrom(*stream.firstMissed, viewer) : 0;
    if (stream.missed > shown) {
        const auto count = static_cast<std::int64_t>(stream.missed - shown);
        stream.connection->Stream(StreamEvent("missed", JsonObject().Number("count", count).Json()));
    }
    const std::string state = StreamEvent("site", site_.SiteText(viewer));
    stream.connection->Stream(state);
    stream.needsSite = false;
    stream.missed = 0;
    stream.firstMissed.reset();
    stream.hasState = true;
    const auto now = std::chrono::system_clock::now();
    SendHealth(stream, HealthFor(viewer, now), now);
    return state.size();
}

// Nothing for those who see no door.
std::string LiveStreams::HealthFor(const Viewer& viewer, std::chrono::system_clock::time_point now) const {
    return !site_.SeesAnyDoor(viewer)
               ? ""
               : health_.Text(now, [&](std::int32_t gateway) { return site_.SeesGateway(gateway, viewer); });
}

void LiveStreams::SendHealth(Stream& stream, const std::string& health, std::chrono::system_clock::time_point now) {
    if (!health.empty() && health != stream.health) {
        const std::string timed = "{\"time\":" + std::to_string(MillisecondsOf(now)) + ',' + std::string(health, 1);
        stream.connection->Stream(StreamEvent("health", timed));
        stream.health = health;
    }
}

// A use may end sessions, and with them streams.
void LiveStreams::SendSigns() {
    std::set<WebSessionNumber> sessions;
    for (const auto& [connection, stream] : streams_) {
        sessions.insert(stream.session);
    }
    for (const WebSessionNumber session : sessions) {
        if (!ports_.use(session)) {
            EndSession(session);
        }
    }
    for (const auto& [connection, stream] : streams_) {
        connection->Stream(kSign);
    }
    signTimer_.expires_after(kBetweenSigns);
    signTimer_.async_wait([this](const Error& error) {
        if (!error && !isStopped_ && !streams_.empty()) {
            SendSigns();
        }
    });
}

}  // namespace MuxProxy
