#pragma once

#include <prometheus/counter.h>
#include <prometheus/family.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "proxy/audit/AuditLog.h"
#include "proxy/configuration/Configuration.h"
#include "proxy/configuration/MuxLocks.h"
#include "tools/client/Message.h"

namespace MuxProxy {

// What the proxy counts and measures, by the conventions of Prometheus: base units, "_total" for counters. Any thread.
//
// Labels have few values: a gateway that the Mux's configuration does not know is "other", since clients may name any.
// What alerts look at is there from the start with 0, so that the first increase is one.
class Metrics {
  public:
    // There is nothing about a broker or a status round that the configuration does not have.
    Metrics(const Configuration& configuration, const MuxLocks& locks);

    const std::shared_ptr<prometheus::Registry>& Registry() const { return registry_; }

    // A row of the audit that is complete: requests, events, and what became of connections.
    void RowCame(const AuditRow& row);
    // Of a lock that the Mux's configuration knows; others are left out.
    void StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status);

    // Requests that wait for each gateway; none waits for the others.
    void SetQueueLengths(const std::map<std::int32_t, std::size_t>& lengths);
    void SetConnections(std::size_t count) { connections_.Set(static_cast<double>(count)); }
    // These two do nothing without a broker. `dropped` counts from the start of the process.
    void SetBrokerConnected(bool isConnected);
    void SetMessages(std::uint64_t waiting, std::uint64_t dropped);
    // Nothing is known of `rows` at first; `droppedRows` counts from the start of the process.
    void SetAudit(std::optional<std::uint64_t> rows, std::uint64_t bytes, std::uint64_t droppedRows);
    void SetAuditLimit(const AuditSettings& settings);
    // `certificate` is "server", "authority", "revocation-list".
    void SetExpiry(const std::string& certificate, std::chrono::system_clock::time_point end);

  private:
    using Counters = prometheus::Family<prometheus::Counter>;
    using Gauges = prometheus::Family<prometheus::Gauge>;
    using Histograms = prometheus::Family<prometheus::Histogram>;

    // What there is once for a broker.
    struct Broker {
        prometheus::Gauge& connected;
        prometheus::Counter& losses;
        prometheus::Gauge& waiting;
        prometheus::Counter& dropped;
    };

    Counters& CounterOf(const char* name, const char* help);
    Gauges& GaugeOf(const char* name, const char* help);
    void BeginGateway(const std::string& label);
    void BeginStatusRound(std::chrono::seconds interval);
    Broker MakeBroker();
    std::string GatewayLabel(std::int32_t gateway) const;
    void CountRequest(const AuditRow& row);
    void TakeMuxRow(const AuditRow& row);

    const std::shared_ptr<prometheus::Registry> registry_ = std::make_shared<prometheus::Registry>();
    std::set<std::int32_t> gateways_;
    std::set<std::pair<std::int32_t, std::int32_t>> locks_;

    Counters& requests_;
    Histograms& durations_;
    Counters& refusals_;
    Counters& unanswered_;
    Counters& events_;
    Counters& connectionRows_;
    Gauges& queues_;
    Gauges& batteryLow_;
    Gauges& batteryLevels_;
    Gauges& statusTimes_;
    Gauges& expiry_;
    prometheus::Gauge& connections_;
    prometheus::Gauge& muxConnected_;
    prometheus::Counter& muxLosses_;
    prometheus::Gauge& auditRows_;
    prometheus::Gauge& auditBytes_;
    prometheus::Gauge& auditLimit_;
    prometheus::Counter& auditDropped_;
    std::optional<Broker> broker_;
};

}  // namespace MuxProxy
