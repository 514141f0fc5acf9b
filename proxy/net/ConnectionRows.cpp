#include "proxy/net/ConnectionRows.h"

#include <utility>

namespace MuxProxy {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kBetweenRowsOfAReason{60};
// Reasons beyond these share one.
constexpr std::size_t kMostReasons = 50;
constexpr const char* kOtherReasons = "other reasons";

}  // namespace

void ConnectionRows::Client(const ClientSession& session, ClientAccount& account, const char* operation,
                            const std::string& reason) {
    if (!account.MayHaveRow()) {
        return;
    }
    const std::size_t others = account.TakeWithoutRow();
    const std::string remark = others > 0 ? std::to_string(others) + " rows before this one were left out" : "";
    Write(session, operation, reason + (reason.empty() || remark.empty() ? "" : "; ") + remark);
}

void ConnectionRows::TurnedAway(const ClientSession& session, const std::string& reason) {
    const bool isKnown = reasons_.count(reason) != 0 || reasons_.size() < kMostReasons;
    Reason& known = reasons_[isKnown ? reason : kOtherReasons];
    ++known.count;
    const auto now = Clock::now();
    if (known.noted && now < *known.noted + kBetweenRowsOfAReason) {
        return;
    }
    const std::string others = known.count > 1 ? " (" + std::to_string(known.count) + " since the last such row)" : "";
    Write(session, "turned-away", reason + others);
    known = {0, now};
}

void ConnectionRows::Write(const ClientSession& session, const char* operation, const std::string& remark) {
    AuditRow row;
    row.kind = "connection";
    row.operation = operation;
    row.client = session.Name();
    row.address = session.Address();
    row.remark = remark;
    audit_.Add(0, std::move(row));
}

}  // namespace MuxProxy
