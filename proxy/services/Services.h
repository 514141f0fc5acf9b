#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "proxy/services/Service.h"
#include "proxy/status/BatteryWatch.h"
#include "proxy/status/StatusAsker.h"

namespace MuxProxy {

// What stands beside the entrance, each there when the file has its section: the status round, and the services of the
// kit. For the network loop.
class Services {
  public:
    // Reads the Mux's own file for the locks of the site. Throws std::runtime_error with a sentence for people when
    // something cannot be used. `kit` is null for a program without services.
    Services(boost::asio::io_context& loop, const Configuration& configuration, const ServiceKit* kit);

    // What the audit tells them, on its own thread; the audit ends before this object.
    AuditHooks Hooks();

    // Begins. `connections` counts those of clients; `called` is called when the dispatcher was, `ended` when
    // HasEnded() has become true. All outlive it.
    void Start(Dispatcher& dispatcher, AuditLog& audit, const std::function<std::size_t()>& connections,
               std::function<void()> called, const std::function<void()>& ended);
    void Stop();
    // As those of Service.
    void End();
    bool HasEnded() const;

    // Takes what the dispatcher sends to none of the clients outside.
    void TakeAnswer(ConnectionNumber connection, const std::string& text);
    void StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status);
    void EventCame(const AuditRow& event);
    void RequestTaken(const TakenRequest& request);
    void RequestEnded(const TakenRequest& request, const RequestEnding& ending);
    // As those of Service. Any thread.
    std::vector<std::function<void()>> ReadAnew(const Configuration& configuration) const;
    void MeasureExpiry(const CertificateSettings& settings) const;

  private:
    boost::asio::io_context& loop_;
    const std::optional<StatusRoundSettings> roundSettings_;
    const MuxLocks locks_;
    BatteryWatch batteries_;
    ServiceList services_;
    // From Start() on.
    AuditLog* audit_ = nullptr;
    std::optional<Insiders> insiders_;
    std::optional<StatusAsker> asker_;
};

}  // namespace MuxProxy
