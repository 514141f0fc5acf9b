#include "proxy/services/MetricsService.h"

#include "proxy/net/Certificates.h"

namespace MuxProxy {
namespace {

constexpr std::chrono::seconds kBetweenSamples{1};

}  // namespace

MetricsService::MetricsService(boost::asio::io_context& loop, const Configuration& configuration, const MuxLocks& locks)
    : timer_(loop), metrics_(configuration, locks), server_(*configuration.metrics, metrics_.Registry()) {}

void MetricsService::AddHooks(AuditHooks& hooks) {
    hooks.rowCompleted = [this](const AuditRow& row) { metrics_.RowCame(row); };
    hooks.countsRows = true;
}

void MetricsService::Start(const ServicePorts& ports) {
    ports_.emplace(ports);
    Sample();
}

void MetricsService::Stop() {
    timer_.cancel();
}

void MetricsService::StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) {
    metrics_.StatusCame(lock, status);
}

std::function<void()> MetricsService::ReadAnew(const Configuration& configuration) {
    return [this, audit = configuration.audit] { metrics_.SetAuditLimit(audit); };
}

void MetricsService::MeasureExpiry(const CertificateSettings& settings) {
    const auto set = [this](const char* name, std::optional<std::chrono::seconds> left) {
        if (left) {
            metrics_.SetExpiry(name, std::chrono::system_clock::now() + *left);
        }
    };
    set("server", TimeLeftOfCertificates(settings.certificate));
    set("authority", TimeLeftOfCertificates(settings.authority));
    if (!settings.revocationList.empty()) {
        set("revocation-list", TimeLeftOfRevocationList(settings.revocationList));
    }
}

void MetricsService::Sample() {
    const AuditLog& audit = ports_->audit;
    metrics_.SetConnections(ports_->connections());
    metrics_.SetQueueLengths(ports_->dispatcher.QueueLengths());
    metrics_.SetMessages(audit.WaitingMessages(), audit.DroppedMessages());
    metrics_.SetAudit(audit.RowCount(), audit.FileBytes(), audit.DroppedCount());
    timer_.expires_after(kBetweenSamples);
    timer_.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            Sample();
        }
    });
}

}  // namespace MuxProxy
