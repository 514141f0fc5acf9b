#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>

#include "proxy/audit/AuditLog.h"
#include "proxy/net/ClientAccount.h"
#include "proxy/net/ClientSession.h"

namespace MuxProxy {

// The rows of the audit about who comes, goes and is turned away: few enough that they push no others out. What was
// left out is counted in the next row. For the network loop.
class ConnectionRows {
  public:
    // The audit outlives it.
    explicit ConnectionRows(AuditLog& audit) : audit_(audit) {}

    // A client came ("connected") or went ("left").
    void Client(const ClientSession& session, ClientAccount& account, const char* operation, const std::string& reason);
    void TurnedAway(const ClientSession& session, const std::string& reason);

  private:
    struct Reason {
        std::size_t count = 0;
        std::optional<std::chrono::steady_clock::time_point> noted;
    };

    void Write(const ClientSession& session, const char* operation, const std::string& remark);

    AuditLog& audit_;
    std::map<std::string, Reason> reasons_;
};

}  // namespace MuxProxy
