#include "proxy/services/ServiceKit.h"

#include <set>
#include <string>
#include <utility>

#include "proxy/mqtt/MqttSite.h"
#include "proxy/services/MetricsService.h"
#include "proxy/services/MqttCheck.h"
#include "proxy/web/UserCommand.h"
#include "proxy/web/WebCheck.h"
#include "proxy/web/WebService.h"

namespace MuxProxy {
namespace {

std::set<std::string> ClientsIn(const Configuration& configuration) {
    std::set<std::string> names;
    for (const Rule& rule : configuration.rules) {
        names.insert(rule.clients.begin(), rule.clients.end());
    }
    return names;
}

class MqttService : public Service {
  public:
    // `connectionChanged` gets to know whether the broker is connected.
    MqttService(boost::asio::io_context& loop, const Configuration& configuration, const MuxLocks& locks,
                std::function<void(bool)> connectionChanged)
        : connectionChanged_(std::move(connectionChanged)),
          settings_(*configuration.mqtt),
          site_(loop, settings_, locks) {
        site_.SetClients(ClientsIn(configuration));
    }

    void AddHooks(AuditHooks& hooks) override { site_.SetHooks(hooks); }

    void Start(const ServicePorts& ports) override {
        const auto ask = [&insiders = ports.insiders](ClientIdentity client, std::string_view text,
                                                      Insiders::Answered answered) {
            insiders.Ask(std::move(client), text, std::move(answered));
        };
        site_.Start(ports.audit, ask, connectionChanged_);
    }

    void Stop() override { site_.Stop(); }

    void StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) override {
        site_.StatusCame(lock, status);
    }

    // The keys in the file that was named at the start: what the section says needs a restart.
    std::function<void()> ReadAnew(const Configuration& configuration) override {
        return [this, names = ClientsIn(configuration), keys = ReadCommandKeys(settings_)] {
            site_.SetClients(names);
            site_.SetKeys(keys);
        };
    }

    void MeasureExpiry(const CertificateSettings&) override {}

  private:
    const std::function<void(bool)> connectionChanged_;
    const MqttSettings settings_;
    MqttSite site_;
};

ServiceList Make(boost::asio::io_context& loop, const Configuration& configuration, const MuxLocks& locks) {
    ServiceList services;
    std::vector<std::function<void(bool)>> ofBroker;
    if (configuration.metrics) {
        auto service = std::make_unique<MetricsService>(loop, configuration, locks);
        ofBroker.emplace_back(
            [&values = service->Values()](bool isConnected) { values.SetBrokerConnected(isConnected); });
        services.push_back(std::move(service));
    }
    if (configuration.web) {
        auto service = std::make_unique<WebService>(loop, configuration, locks);
        ofBroker.emplace_back([&page = *service](bool isConnected) { page.SetBrokerConnected(isConnected); });
        services.push_back(std::move(service));
    }
    if (configuration.mqtt) {
        services.push_back(std::make_unique<MqttService>(loop, configuration, locks, [ofBroker](bool isConnected) {
            for (const auto& tell : ofBroker) {
                tell(isConnected);
            }
        }));
    }
    return services;
}

std::vector<Finding> Check(const Configuration& configuration) {
    std::vector<Finding> findings = configuration.mqtt ? CheckMqtt(*configuration.mqtt) : std::vector<Finding>();
    const std::vector<Finding> ofWeb = CheckWeb(configuration);
    findings.insert(findings.end(), ofWeb.begin(), ofWeb.end());
    return findings;
}

}  // namespace

const ServiceKit kServiceKit = {&Make, &Check, &SetUser, &RemoveUser};

}  // namespace MuxProxy
