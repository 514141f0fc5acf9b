#include "proxy/metrics/Metrics.h"

#include <array>
#include <utility>

#include "mux/Version.h"
#include "proxy/dispatch/Answers.h"

namespace MuxProxy {
namespace {

using prometheus::Labels;

// Seconds. The Mux sends a gateway one frame in 300 ms; a request waits for its answer up to 15 s.
const prometheus::Histogram::BucketBoundaries kDurationSeconds = {0.05, 0.1, 0.2, 0.35, 0.5, 0.75, 1,
                                                                  1.5,  2,   3,   5,    7.5, 10,   15};

// Of a battery, by LockStatus::qualityOfService: what it has at least.
constexpr std::array<double, 4> kBatteryRatios = {0, 0.8, 0.9, 0.95};

// Clients may name any gateway: these are those that the Mux's configuration does not have.
constexpr const char* kOtherGateway = "other";

constexpr std::array<Refusal, 7> kRefusalReasons = {Refusal::kNotAllowed, Refusal::kNotValid,   Refusal::kNotSent,
                                                    Refusal::kMuxAway,    Refusal::kNotAudited, Refusal::kNotFresh,
                                                    Refusal::kNotSigned};

Labels LockLabels(std::int32_t gateway, std::int32_t lock) {
    return {{"gateway", std::to_string(gateway)}, {"lock", std::to_string(lock)}};
}

bool IsOfTheProxy(std::int32_t errorCode) {
    return errorCode < 0;
}

double RatioOf(const MuxClient::LockStatus& status) {
    const auto level = static_cast<std::size_t>(status.qualityOfService);
    return level < kBatteryRatios.size() ? kBatteryRatios.at(level) : 0;
}

double SecondsOf(std::chrono::system_clock::time_point time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

void RaiseTo(prometheus::Counter& counter, std::uint64_t value) {
    counter.Increment(static_cast<double>(value) - counter.Value());
}

}  // namespace

Metrics::Metrics(const Configuration& configuration, const MuxLocks& locks)
    : requests_(
          CounterOf("mux_proxy_requests_total",
                    "Results of requests, by gateway, operation and result; a request with a late reply has two.")),
      durations_(prometheus::BuildHistogram()
                     .Name("mux_proxy_request_duration_seconds")
                     .Help("Time from a request's reception to the Mux's answer, by gateway.")
                     .Register(*registry_)),
      refusals_(CounterOf("mux_proxy_refusals_total", "Requests that the proxy refused, by reason.")),
      unanswered_(CounterOf("mux_proxy_unanswered_requests_total", "Requests that the Mux did not answer in time.")),
      events_(CounterOf("mux_proxy_events_total", "Events of gateways and batteries.")),
      connectionRows_(CounterOf("mux_proxy_connection_rows_total",
                                "Rows of the audit about connections; one row may stand for several.")),
      queues_(GaugeOf("mux_proxy_queue_length", "Requests that wait for their turn or their answer.")),
      batteryLow_(GaugeOf("mux_proxy_lock_battery_low", "1 while the lock's battery is at this level.")),
      batteryLevels_(
          GaugeOf("mux_proxy_lock_battery_ratio", "Lower bound of the battery's charge: 0, 0.8, 0.9 or 0.95.")),
      statusTimes_(GaugeOf("mux_proxy_lock_status_timestamp_seconds",
                           "When the lock last answered a status request, 0 if not since the start.")),
      expiry_(GaugeOf("mux_proxy_certificate_expiry_timestamp_seconds",
                      "When the certificate or the revocation list ends.")),
      connections_(GaugeOf("mux_proxy_connections", "Connections of clients.").Add({})),
      muxConnected_(GaugeOf("mux_proxy_mux_connected", "1 while there is a connection to the Mux.").Add({})),
      muxLosses_(CounterOf("mux_proxy_mux_connection_losses_total", "Connections to the Mux that were lost.").Add({})),
      auditRows_(GaugeOf("mux_proxy_audit_rows", "Rows in the audit's file.").Add({})),
      auditBytes_(GaugeOf("mux_proxy_audit_size_bytes", "Size of the audit's file.").Add({})),
      auditLimit_(
          GaugeOf("mux_proxy_audit_size_limit_bytes", "Size from which on the oldest rows are removed.").Add({})),
      auditDropped_(
          CounterOf("mux_proxy_audit_rows_dropped_total", "Rows for which there was no room on the disk.").Add({})) {
    GaugeOf("mux_proxy_build_info", "1, with the version.").Add({{"version", Mux::kVersion}}).Set(1);
    for (const MuxLock& lock : locks) {
        gateways_.insert(lock.address.gateway);
        locks_.emplace(lock.address.gateway, lock.address.lock);
    }
    for (const std::int32_t gateway : gateways_) {
        BeginGateway(GatewayLabel(gateway));
    }
    BeginGateway(kOtherGateway);
    for (const Refusal refusal : kRefusalReasons) {
        refusals_.Add({{"reason", RefusalName(refusal)}});
    }
    if (configuration.statusRound) {
        BeginStatusRound(configuration.statusRound->interval);
    }
    if (configuration.mqtt) {
        broker_.emplace(MakeBroker());
    }
    SetQueueLengths({});
    SetAuditLimit(configuration.audit);
}

void Metrics::BeginGateway(const std::string& label) {
    durations_.Add({{"gateway", label}}, kDurationSeconds);
    unanswered_.Add({{"gateway", label}});
}

void Metrics::BeginStatusRound(std::chrono::seconds interval) {
    GaugeOf("mux_proxy_status_round_interval_seconds", "How often each lock is asked for its status.")
        .Add({})
        .Set(static_cast<double>(interval.count()));
    for (const auto& [gateway, lock] : locks_) {
        statusTimes_.Add(LockLabels(gateway, lock));
    }
}

Metrics::Broker Metrics::MakeBroker() {
    return {
        GaugeOf("mux_proxy_broker_connected", "1 while there is a connection to the broker.").Add({}),
        CounterOf("mux_proxy_broker_connection_losses_total", "Connections to the broker that were lost.").Add({}),
        GaugeOf("mux_proxy_messages_waiting", "Messages that the broker does not have yet.").Add({}),
        CounterOf("mux_proxy_messages_dropped_total", "Messages dropped unsent: too old, too many, or of dropped rows.")
            .Add({}),
    };
}

Metrics::Counters& Metrics::CounterOf(const char* name, const char* help) {
    return prometheus::BuildCounter().Name(name).Help(help).Register(*registry_);
}

Metrics::Gauges& Metrics::GaugeOf(const char* name, const char* help) {
    return prometheus::BuildGauge().Name(name).Help(help).Register(*registry_);
}

std::string Metrics::GatewayLabel(std::int32_t gateway) const {
    return gateways_.count(gateway) != 0 ? std::to_string(gateway) : kOtherGateway;
}

void Metrics::RowCame(const AuditRow& row) {
    if (row.kind == "request") {
        CountRequest(row);
    } else if (row.kind == "event") {
        events_.Add({{"gateway", GatewayLabel(row.gateway.value_or(0))}, {"event", row.operation}}).Increment();
    } else if (row.kind == "connection") {
        connectionRows_.Add({{"operation", row.operation}}).Increment();
    } else if (row.kind == "mux") {
        TakeMuxRow(row);
    }
}

// A request that is not valid has no gateway and no operation; an answer that came too late has no operation.
void Metrics::CountRequest(const AuditRow& row) {
    const std::string gateway = row.gateway ? GatewayLabel(*row.gateway) : "none";
    requests_
        .Add({{"gateway", gateway},
              {"operation", row.operation.empty() ? "none" : row.operation},
              {"result", row.result}})
        .Increment();
    if (row.errorCode == static_cast<std::int32_t>(Refusal::kNoAnswer)) {
        unanswered_.Add({{"gateway", gateway}}).Increment();
    } else if (IsOfTheProxy(row.errorCode)) {
        refusals_.Add({{"reason", row.result}}).Increment();
    } else if (row.result == "ack" || row.result == "nack") {
        durations_.Add({{"gateway", gateway}}, kDurationSeconds)
            .Observe(std::chrono::duration<double>(row.elapsed).count());
    }
}

void Metrics::TakeMuxRow(const AuditRow& row) {
    const bool isConnected = row.operation == "connected";
    muxConnected_.Set(isConnected ? 1 : 0);
    muxLosses_.Increment(isConnected ? 0 : 1);
}

void Metrics::StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) {
    if (locks_.count({lock.gateway, lock.lock}) == 0) {
        return;
    }
    Labels labels = LockLabels(lock.gateway, lock.lock);
    batteryLevels_.Add(labels).Set(RatioOf(status));
    statusTimes_.Add(labels).Set(SecondsOf(std::chrono::system_clock::now()));
    labels["level"] = "warning";
    batteryLow_.Add(labels).Set(status.batteryWarningLevel ? 1 : 0);
    labels["level"] = "alarm";
    batteryLow_.Add(labels).Set(status.batteryAlarmLevel ? 1 : 0);
}

void Metrics::SetQueueLengths(const std::map<std::int32_t, std::size_t>& lengths) {
    std::map<std::string, std::size_t> byLabel = {{kOtherGateway, 0}};
    for (const std::int32_t gateway : gateways_) {
        byLabel[GatewayLabel(gateway)] = 0;
    }
    for (const auto& [gateway, length] : lengths) {
        byLabel[GatewayLabel(gateway)] += length;
    }
    for (const auto& [label, length] : byLabel) {
        queues_.Add({{"gateway", label}}).Set(static_cast<double>(length));
    }
}

void Metrics::SetBrokerConnected(bool isConnected) {
    if (broker_) {
        broker_->losses.Increment(!isConnected && broker_->connected.Value() != 0 ? 1 : 0);
        broker_->connected.Set(isConnected ? 1 : 0);
    }
}

void Metrics::SetMessages(std::uint64_t waiting, std::uint64_t dropped) {
    if (broker_) {
        broker_->waiting.Set(static_cast<double>(waiting));
        RaiseTo(broker_->dropped, dropped);
    }
}

void Metrics::SetAudit(std::optional<std::uint64_t> rows, std::uint64_t bytes, std::uint64_t droppedRows) {
    auditRows_.Set(static_cast<double>(rows.value_or(0)));
    auditBytes_.Set(static_cast<double>(bytes));
    RaiseTo(auditDropped_, droppedRows);
}

void Metrics::SetAuditLimit(const AuditSettings& settings) {
    auditLimit_.Set(static_cast<double>(settings.mebibytes) * 1024 * 1024);
}

void Metrics::SetExpiry(const std::string& certificate, std::chrono::system_clock::time_point end) {
    expiry_.Add({{"certificate", certificate}}).Set(SecondsOf(end));
}

}  // namespace MuxProxy
