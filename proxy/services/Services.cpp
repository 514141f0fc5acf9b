#include "proxy/services/Services.h"

#include <algorithm>
#include <utility>

#include "proxy/audit/AuditReader.h"

namespace MuxProxy {
namespace {

MuxLocks LocksOf(const Configuration& configuration) {
    const bool needsLocks = configuration.statusRound || configuration.NeedsServices();
    const std::string& file = configuration.mux.configuration;
    return needsLocks && !file.empty() ? ReadMuxLocks(file) : MuxLocks();
}

}  // namespace

Services::Services(boost::asio::io_context& loop, const Configuration& configuration, const ServiceKit* kit)
    : loop_(loop),
      roundSettings_(configuration.statusRound),
      locks_(LocksOf(configuration)),
      batteries_(ReadBatteryEvents(configuration.audit.file)) {
    if (kit != nullptr) {
        services_ = kit->make(loop, configuration, locks_);
    }
}

AuditHooks Services::Hooks() {
    AuditHooks hooks;
    for (const auto& service : services_) {
        service->AddHooks(hooks);
    }
    return hooks;
}

void Services::Start(Dispatcher& dispatcher, AuditLog& audit, const std::function<std::size_t()>& connections,
                     std::function<void()> called, const std::function<void()>& ended) {
    audit_ = &audit;
    insiders_.emplace(loop_, dispatcher, std::move(called));
    if (roundSettings_) {
        asker_.emplace(loop_, dispatcher, *insiders_, locks_, roundSettings_->interval);
    }
    for (const auto& service : services_) {
        service->Start({dispatcher, audit, *insiders_, connections, ended});
    }
}

void Services::Stop() {
    if (asker_) {
        asker_->Stop();
    }
    for (const auto& service : services_) {
        service->Stop();
    }
}

void Services::End() {
    for (const auto& service : services_) {
        service->End();
    }
}

bool Services::HasEnded() const {
    return std::all_of(services_.begin(), services_.end(), [](const auto& service) { return service->HasEnded(); });
}

void Services::TakeAnswer(ConnectionNumber connection, const std::string& text) {
    if (insiders_) {
        insiders_->Take(connection, text);
    }
}

void Services::StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) {
    for (const auto& service : services_) {
        service->StatusCame(lock, status);
    }
    if (std::optional<AuditRow> event = batteries_.StatusCame(lock, status)) {
        EventCame(*event);
        audit_->Add(0, std::move(*event));
    }
}

void Services::EventCame(const AuditRow& event) {
    for (const auto& service : services_) {
        service->EventCame(event);
    }
}

void Services::RequestTaken(const TakenRequest& request) {
    for (const auto& service : services_) {
        service->RequestTaken(request);
    }
}

void Services::RequestEnded(const TakenRequest& request, const RequestEnding& ending) {
    for (const auto& service : services_) {
        service->RequestEnded(request, ending);
    }
}

std::vector<std::function<void()>> Services::ReadAnew(const Configuration& configuration) const {
    std::vector<std::function<void()>> toApply;
    for (const auto& service : services_) {
        toApply.push_back(service->ReadAnew(configuration));
    }
    return toApply;
}

void Services::MeasureExpiry(const CertificateSettings& settings) const {
    for (const auto& service : services_) {
        service->MeasureExpiry(settings);
    }
}

}  // namespace MuxProxy
