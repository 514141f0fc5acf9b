#include "proxy/web/WebService.h"

#include <filesystem>
#include <utility>

#include "proxy/audit/AuditReader.h"
#include "proxy/net/Certificates.h"
#include "proxy/web/WebReplies.h"

namespace MuxProxy {
namespace {

namespace http = boost::beast::http;

constexpr std::chrono::seconds kBetweenSamples{1};
constexpr unsigned kSamplesBetweenDisks = 30;
// Certificates end while their browsers are connected.
constexpr unsigned kSamplesBetweenCertificates = 600;
constexpr std::uint64_t kRowsOfHistory = 5000;

std::shared_ptr<const Rights> RightsOf(const Configuration& configuration) {
    return std::make_shared<const Rights>(configuration.rules);
}

std::shared_ptr<const PasswordFile> PasswordsOf(const WebSettings& settings) {
    return settings.users.empty() ? std::make_shared<const PasswordFile>()
                                  : std::make_shared<const PasswordFile>(PasswordFile::Read(settings.users));
}

std::set<std::string> AuditorsOf(const WebSettings& settings) {
    return {settings.auditors.begin(), settings.auditors.end()};
}

// The newest rows of the audit, oldest first; none in a file that is not there yet.
std::vector<AuditRow> HistoryOf(const std::string& file) {
    std::error_code error;
    std::vector<AuditRow> rows;
    if (std::filesystem::file_size(file, error) == 0 || error) {
        return rows;
    }
    AuditQuery query;
    query.file = file;
    query.limit = kRowsOfHistory;
    std::vector<AuditEntry> entries = ReadAuditPage(query, {});
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
        rows.push_back(std::move(entry->row));
    }
    return rows;
}

SiteHealth HealthOf(const Configuration& configuration, const MuxLocks& locks) {
    SiteHealth health;
    for (const MuxLock& lock : locks) {
        health.gateways[lock.address.gateway].name = lock.gatewayName;
    }
    if (configuration.mqtt) {
        health.broker.emplace();
    }
    health.auditLimit = std::uint64_t{configuration.audit.mebibytes} << 20U;
    return health;
}

}  // namespace

WebService::WebService(boost::asio::io_context& loop, const Configuration& configuration, const MuxLocks& locks)
    : settings_(*configuration.web),
      auditFile_(configuration.audit.file),
      auditors_(AuditorsOf(settings_)),
      site_(locks, RightsOf(configuration)),
      streams_(loop, site_,
               {[this](WebSessionNumber session) { return logins_.Use(session); },
                [this](const std::string& name) { return ViewerOf(name); }}),
      logins_(
          loop, settings_, PasswordsOf(settings_), [this](WebSessionNumber session) { streams_.EndSession(session); },
          [this](const std::string& name) { return ViewerOf(name); }),
      health_(HealthOf(configuration, locks)),
      timer_(loop),
      orders_(loop, settings_.cards, site_),
      audit_(auditFile_, disk_),
      disk_(loop),
      pages_(
          Routes(), [this](WebExchange& exchange) { logins_.FindSession(exchange); },
          [this](HttpSession& session) { streams_.Remove(session); }),
      server_(loop, configuration, pages_) {
    site_.TakeHistory(HistoryOf(auditFile_));
}

std::vector<WebSite::Route> WebService::Routes() {
    using Needs = WebSite::Needs;
    using http::verb;
    const auto to = [](auto& part, auto handle) {
        return [&part, handle](const WebExchangePointer& exchange) { (part.*handle)(exchange); };
    };
    return {
        {verb::post, "/api/session", Needs::kNothing, to(logins_, &WebLogins::LogIn)},
        {verb::get, "/api/session", Needs::kNothing, to(logins_, &WebLogins::Show)},
        {verb::delete_, "/api/session", Needs::kSession, to(logins_, &WebLogins::LogOut)},
        {verb::get, "/api/live", Needs::kSession, to(*this, &WebService::StartStream)},
        {verb::post, "/api/requests", Needs::kSession, to(orders_, &WebOrders::Order)},
        {verb::get, "/api/cards", Needs::kSession, to(orders_, &WebOrders::ShowCards)},
        {verb::get, "/api/cards.csv", Needs::kSession, to(orders_, &WebOrders::DownloadCards)},
        {verb::get, "/api/audit", Needs::kAuditor, to(audit_, &WebAudit::Show)},
        {verb::get, "/api/audit.csv", Needs::kAuditor, to(audit_, &WebAudit::Download)},
    };
}

void WebService::Start(const ServicePorts& ports) {
    ports_.emplace(ports);
    logins_.Start(ports.audit);
    orders_.Start(ports.insiders);
    server_.Start();
    Sample();
}

void WebService::Stop() {
    timer_.cancel();
    logins_.Stop();
    streams_.Stop();
    server_.Stop();
}

void WebService::End() {
    server_.End(ports_->ended);
}

void WebService::StartStream(const WebExchangePointer& exchange) {
    if (!streams_.Add(*exchange->connection, *exchange->session)) {
        exchange->Answer(ErrorReply(http::status::service_unavailable, "too-many"));
    }
}

void WebService::StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) {
    if (site_.StatusCame(lock, status)) {
        streams_.BatteryChanged(lock);
    }
}

void WebService::EventCame(const AuditRow& event) {
    if (const PageRow* const row = site_.EventCame(event)) {
        streams_.RowCame(*row);
    }
}

void WebService::RequestTaken(const TakenRequest& request) {
    site_.RequestTaken(request);
    orders_.RequestTaken(request);
    streams_.BusyChanged(request.content.lock);
}

void WebService::RequestEnded(const TakenRequest& request, const RequestEnding& ending) {
    orders_.RequestEnded(request, ending);
    streams_.BusyChanged(request.content.lock);
    if (const PageRow* const row = site_.RequestEnded(request, ending)) {
        streams_.RowCame(*row);
    }
}

void WebService::SetBrokerConnected(bool isConnected) {
    health_.broker->isConnected = isConnected;
}

// Ports and times are those of the start.
std::function<void()> WebService::ReadAnew(const Configuration& configuration) {
    Configuration current = configuration;
    current.web = configuration.web.value_or(settings_);
    return [this, rights = RightsOf(configuration), passwords = PasswordsOf(settings_),
            certificates = WebServer::ReadCertificates(current), auditors = AuditorsOf(*current.web)] {
        site_.SetRights(rights);
        auditors_ = auditors;
        logins_.SetPasswords(passwords);
        server_.SetCertificates(certificates);
        streams_.RightsChanged();
    };
}

void WebService::MeasureExpiry(const CertificateSettings& settings) {
    std::map<std::string, std::chrono::system_clock::time_point> ends;
    const auto set = [&ends](const char* name, std::optional<std::chrono::seconds> left) {
        if (left) {
            ends[name] = std::chrono::system_clock::now() + *left;
        }
    };
    set("server", TimeLeftOfCertificates(settings_.certificate));
    set("authority", TimeLeftOfCertificates(settings.authority));
    if (!settings.revocationList.empty()) {
        set("revocation-list", TimeLeftOfRevocationList(settings.revocationList));
    }
    const std::lock_guard<std::mutex> lock(endsMutex_);
    ends_ = std::move(ends);
}

void WebService::Sample() {
    const AuditLog& audit = ports_->audit;
    health_.isMuxReady = ports_->dispatcher.IsMuxReady();
    const auto queues = ports_->dispatcher.QueueLengths();
    const auto silent = ports_->dispatcher.SilentGateways();
    for (auto& [number, gateway] : health_.gateways) {
        const auto queue = queues.find(number);
        gateway.queue = queue != queues.end() ? queue->second : 0;
        gateway.isSilent = silent.count(number) != 0;
    }
    if (health_.broker) {
        health_.broker->waiting = audit.WaitingMessages();
    }
    health_.isAuditWritable = audit.IsWritable();
    health_.auditRows = audit.RowCount();
    health_.auditBytes = audit.FileBytes();
    {
        const std::lock_guard<std::mutex> lock(endsMutex_);
        health_.ends = ends_;
    }
    streams_.HealthCame(health_);
    if (samples_ % kSamplesBetweenDisks == 0) {
        MeasureDisk();
    }
    if (++samples_ % kSamplesBetweenCertificates == 0) {
        server_.CheckCertificates();
    }
    timer_.expires_after(kBetweenSamples);
    timer_.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            Sample();
        }
    });
}

void WebService::MeasureDisk() {
    const auto free = std::make_shared<std::optional<std::uint64_t>>();
    disk_.Do(
        [free, file = auditFile_] {
            std::error_code error;
            const auto space = std::filesystem::space(std::filesystem::path(file).parent_path(), error);
            *free = error ? std::nullopt : std::make_optional<std::uint64_t>(space.available);
        },
        [this, free] { health_.freeBytes = *free; });
}

}  // namespace MuxProxy
