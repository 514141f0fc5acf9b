#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "proxy/configuration/Configuration.h"
#include "proxy/configuration/MuxLocks.h"
#include "proxy/mqtt/RetainedMessages.h"
#include "proxy/mqtt/Topics.h"
#include "proxy/requests/JsonObject.h"

namespace MuxProxy {

// The messages by which Home Assistant finds the locks of a site: for each lock the lock itself, its events and its
// battery, and for the site whether it is online. For the network loop.
class Discovery {
  public:
    using Time = std::chrono::steady_clock::time_point;
    // As RandomShare().
    using Random = std::function<double()>;

    // How long after the start of Home Assistant: many sites answer it.
    static constexpr std::chrono::seconds kLeastDelay{1};
    static constexpr std::chrono::seconds kMostDelay{10};

    // With `takesCommands` false (a site that requires signatures, which Home Assistant cannot make) nothing can be
    // operated. The broker outlives it.
    Discovery(BrokerPort& broker, const DiscoverySettings& settings, const Topics& topics, const MuxLocks& locks,
              bool takesCommands, Random random);

    // Where Home Assistant says that it has started.
    std::string BirthTopic() const { return settings_.prefix + "/status"; }
    // It has; all messages go out again a little later.
    void Started(Time now);

    // True when it is time to publish all again, which this then did for its own messages.
    bool Advance(Time now);
    std::optional<Time> NextTime() const { return due_; }

    RetainedMessages& Messages() { return messages_; }

  private:
    void AddSite();
    void AddCommands(const MuxLock& lock);
    void AddSensors(const MuxLock& lock);
    // One entity of a lock, with what all have in common.
    void Add(const char* component, const MuxLock& lock, const char* name, const char* title, JsonObject own);
    static std::string IdOf(const MuxLock& lock);
    JsonObject DeviceOf(const MuxLock& lock) const;

    const DiscoverySettings settings_;
    const Topics topics_;
    const Random random_;
    RetainedMessages messages_;
    std::optional<Time> due_;
};

}  // namespace MuxProxy
