#include "proxy/mqtt/Discovery.h"

#include <utility>

namespace MuxProxy {
namespace {

using std::chrono::duration_cast;

// A command carries its time; "open" of Home Assistant is for a moment, here 5 s.
constexpr const char* kCommandTemplate =
    R"({"operation":"{{ value }}"{% if value == 'open-close' %},"duration":5{% endif %},"iat":{{ now().timestamp() }} })";
constexpr const char* kIsLow = "{{ 'ON' if value_json.battery_warning or value_json.battery_alarm else 'OFF' }}";

std::string NameOf(const MuxLock& lock) {
    return lock.name.empty() ? "Lock " + std::to_string(lock.address.lock) : lock.name;
}

}  // namespace

Discovery::Discovery(BrokerPort& broker, const DiscoverySettings& settings, const Topics& topics, const MuxLocks& locks,
                     bool takesCommands, Random random)
    : settings_(settings), topics_(topics), random_(std::move(random)), messages_(broker) {
    AddSite();
    for (const MuxLock& lock : locks) {
        takesCommands ? AddCommands(lock) : static_cast<void>(0);
        AddSensors(lock);
    }
}

void Discovery::AddSite() {
    const std::string id = topics_.ClientId();
    JsonObject device;
    device.Texts("identifiers", {id}).Text("name", topics_.Site());
    JsonObject message;
    message.Text("unique_id", id + "-status")
        .Text("name", "Connection")
        .Text("state_topic", topics_.Status())
        .Text("payload_on", "online")
        .Text("payload_off", "offline")
        .Text("device_class", "connectivity")
        .Text("entity_category", "diagnostic")
        .Object("device", device);
    messages_.Set(settings_.prefix + "/binary_sensor/" + id + "/status/config", message.Json());
}

void Discovery::AddCommands(const MuxLock& lock) {
    JsonObject own;
    own.Text("command_topic", topics_.Command(lock.address, settings_.client))
        .Text("command_template", kCommandTemplate)
        .Text("payload_lock", "close")
        .Text("payload_unlock", "open")
        .Text("payload_open", "open-close")
        .Flag("optimistic", true)
        .Flag("retain", false);
    Add("lock", lock, "lock", "Lock", std::move(own));
}

void Discovery::AddSensors(const MuxLock& lock) {
    JsonObject event;
    event.Text("state_topic", topics_.Event(lock.address))
        .Texts("event_types", {"card", "pin", "allowed", "battery-low", "battery-good"});
    Add("event", lock, "event", "Reader", std::move(event));
    const std::string state = topics_.State(lock.address);
    JsonObject low;
    low.Text("state_topic", state)
        .Text("value_template", kIsLow)
        .Text("device_class", "battery")
        .Text("entity_category", "diagnostic");
    Add("binary_sensor", lock, "battery-low", "Battery low", std::move(low));
    JsonObject capacity;
    capacity.Text("state_topic", state)
        .Text("value_template", "{{ value_json.capacity_at_least }}")
        .Text("device_class", "battery")
        .Text("unit_of_measurement", "%")
        .Text("entity_category", "diagnostic");
    Add("sensor", lock, "battery", "Battery at least", std::move(capacity));
    JsonObject condition;
    condition.Text("state_topic", state)
        .Text("value_template", "{{ value_json.battery }}")
        .Text("entity_category", "diagnostic");
    Add("sensor", lock, "battery-condition", "Battery condition", std::move(condition));
}

void Discovery::Add(const char* component, const MuxLock& lock, const char* name, const char* title, JsonObject own) {
    const std::string id = IdOf(lock);
    own.Text("unique_id", topics_.ClientId() + '-' + id + '-' + name)
        .Text("name", title)
        .Number("qos", 1)
        .Text("availability_topic", topics_.Status())
        .Object("device", DeviceOf(lock));
    messages_.Set(settings_.prefix + '/' + component + '/' + topics_.ClientId() + '/' + id + '-' + name + "/config",
                  own.Json());
}

std::string Discovery::IdOf(const MuxLock& lock) {
    return "g" + std::to_string(lock.address.gateway) + "-l" + std::to_string(lock.address.lock);
}

JsonObject Discovery::DeviceOf(const MuxLock& lock) const {
    JsonObject device;
    device.Texts("identifiers", {topics_.ClientId() + '-' + IdOf(lock)})
        .Text("name", NameOf(lock))
        .Text("via_device", topics_.ClientId());
    if (!lock.gatewayName.empty()) {
        device.Text("suggested_area", lock.gatewayName);
    }
    return device;
}

void Discovery::Started(Time now) {
    const std::chrono::duration<double> scattered = (kMostDelay - kLeastDelay) * random_();
    due_ = now + kLeastDelay + duration_cast<Time::duration>(scattered);
}

bool Discovery::Advance(Time now) {
    if (!due_ || now < *due_) {
        return false;
    }
    due_.reset();
    messages_.PublishAgain();
    return true;
}

}  // namespace MuxProxy
