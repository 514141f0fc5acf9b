#pragma once

#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "proxy/audit/AuditLog.h"
#include "proxy/configuration/Configuration.h"
#include "proxy/configuration/ConfigurationReader.h"
#include "proxy/configuration/MuxLocks.h"
#include "proxy/dispatch/Insiders.h"
#include "tools/client/Message.h"

namespace MuxProxy {

// What services get to work with. All outlive them.
struct ServicePorts {
    Dispatcher& dispatcher;
    AuditLog& audit;
    Insiders& insiders;
    // Counts the connections of clients.
    std::function<std::size_t()> connections;
    // To be called when HasEnded() has become true.
    std::function<void()> ended;
};

// A part of the proxy that stands beside the entrance when the file has its section, and needs libraries that a plain
// site does not load. For the network loop, unless said otherwise.
class Service {
  public:
    virtual ~Service() = default;

    // Adds what the audit tells it, on the audit's own thread; the audit ends before the service.
    virtual void AddHooks(AuditHooks& hooks) = 0;
    virtual void Start(const ServicePorts& ports) = 0;
    virtual void Stop() = 0;
    // Behind Stop(), when every request has its answer: takes leave of who waited for one.
    virtual void End() {}
    virtual bool HasEnded() const { return true; }
    virtual void StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status) = 0;
    // As those of DispatcherPorts; events about batteries too.
    virtual void EventCame(const AuditRow& event) { static_cast<void>(event); }
    virtual void RequestTaken(const TakenRequest& request) { static_cast<void>(request); }
    virtual void RequestEnded(const TakenRequest& request, const RequestEnding& ending) {
        static_cast<void>(request);
        static_cast<void>(ending);
    }

    // Reads what files the configuration names, and returns what then applies it on the loop. Throws
    // std::runtime_error with a sentence for people if one cannot be used. Any thread.
    virtual std::function<void()> ReadAnew(const Configuration& configuration) = 0;
    // Looks when certificates and the list end. Any thread.
    virtual void MeasureExpiry(const CertificateSettings& settings) = 0;
};

using ServiceList = std::vector<std::unique_ptr<Service>>;

// What makes and checks the services of a configuration: those of a program that has them.
struct ServiceKit {
    // Throws std::runtime_error with a sentence for people when one cannot begin. The loop outlives them.
    ServiceList (*make)(boost::asio::io_context& loop, const Configuration& configuration, const MuxLocks& locks);
    // What is wrong in the files that their sections name. Any thread.
    std::vector<Finding> (*check)(const Configuration& configuration);
    // Change this user in the file of users; they throw std::runtime_error with a sentence for people. For the main
    // thread of a command.
    void (*setUser)(const std::string& file, const std::string& name);
    void (*removeUser)(const std::string& file, const std::string& name);
};

}  // namespace MuxProxy
