#include "proxy/mqtt/MessageMaker.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "proxy/audit/AuditText.h"

namespace MuxProxy {
namespace {

// Those of the Mux, which carry the low 16 bits of the lock's address.
constexpr std::array<std::string_view, 3> kReaderEvents = {"card", "pin", "allowed"};

// By LockStatus::batteryStatus, and by its qualityOfService in per cent.
constexpr std::array<const char*, 4> kBatteries = {"not-available", "resistance-too-high", "medium", "full"};
constexpr std::array<std::int64_t, 4> kLeastCapacities = {0, 80, 90, 95};

bool IsOfReader(const AuditRow& row) {
    return std::find(kReaderEvents.begin(), kReaderEvents.end(), row.operation) != kReaderEvents.end();
}

template <typename Value, std::size_t size>
Value Named(const std::array<Value, size>& values, std::int32_t index) {
    const auto position = static_cast<std::size_t>(index);
    return values[index >= 0 && position < size ? position : 0];
}

}  // namespace

std::int64_t MillisecondsOf(std::chrono::system_clock::time_point time) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

void AddStatus(JsonObject& object, const MuxClient::LockStatus& status) {
    object.Text("battery", Named(kBatteries, status.batteryStatus))
        .Number("capacity_at_least", Named(kLeastCapacities, status.qualityOfService))
        .Flag("battery_warning", status.batteryWarningLevel)
        .Flag("battery_alarm", status.batteryAlarmLevel)
        .Flag("mechanical_active", status.mechanicalActive)
        .Flag("fire_mode", status.scandinavianFireMode)
        .Flag("reader_connected", status.readerConnected);
}

MuxClient::LockAddress LockOfRow(const AuditRow& row, const MuxLocks& locks) {
    MuxClient::LockAddress lock{*row.gateway, *row.lock};
    if (row.kind == "event" && IsOfReader(row)) {
        lock.lock = LockByLowBits(locks, lock.gateway, static_cast<std::uint16_t>(lock.lock)).value_or(lock.lock);
    }
    return lock;
}

MessageMaker::MessageMaker(Topics topics, MuxLocks locks, bool wholeCards)
    : topics_(std::move(topics)), locks_(std::move(locks)), wholeCards_(wholeCards) {}

std::optional<OutboxMessage> MessageMaker::MessageOf(const AuditRow& row) const {
    if (!row.gateway || !row.lock) {
        return std::nullopt;
    }
    return row.kind == "event" ? EventOf(row) : row.kind == "request" ? ResultOf(row) : std::nullopt;
}

std::optional<OutboxMessage> MessageMaker::EventOf(const AuditRow& row) const {
    JsonObject payload;
    payload.Number("time", MillisecondsOf(row.time)).Text("event_type", row.operation);
    AddCard(payload, row);
    return OutboxMessage{0, "", row.time, topics_.Event(LockOfRow(row, locks_)), payload.Json(), ""};
}

std::optional<OutboxMessage> MessageMaker::ResultOf(const AuditRow& row) const {
    if (row.result.empty()) {
        return std::nullopt;
    }
    JsonObject payload;
    payload.Number("time", MillisecondsOf(row.time))
        .Text("client", row.client)
        .Text("operation", row.operation)
        .Text("result", row.result)
        .Number("errorCode", row.errorCode)
        .Number("milliseconds", row.elapsed.count());
    AddCard(payload, row);
    if (!row.remark.empty()) {
        payload.Text("remark", row.remark);
    }
    return OutboxMessage{0, "", row.time, topics_.Result(LockOfRow(row, locks_)), payload.Json(), ""};
}

// The audit may keep more of a card than messages have.
void MessageMaker::AddCard(JsonObject& object, const AuditRow& row) const {
    if (row.card.empty()) {
        return;
    }
    const bool isToShorten = !wholeCards_ && row.card.front() != '*';
    object.Text("card", isToShorten ? Storable(row, false).card : row.card);
}

}  // namespace MuxProxy
