#include <sstream>

#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/JsonLines.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

// "gateway 1  Hall"; completion reads these lines.
std::string EntryText(const char* kind, std::int32_t id, const std::string& name) {
    return kind + std::string(" ") + std::to_string(id) + (name.empty() ? "" : "  " + Printable(name)) + "\n";
}

std::string LocksText(const Site& site) {
    std::string text;
    for (const SiteGateway& gateway : site.gateways) {
        text += EntryText("gateway", gateway.id, gateway.name);
        for (const SiteLock& lock : gateway.locks) {
            text += EntryText("  lock", lock.id, lock.name);
        }
    }
    return text;
}

void WriteIdAndName(JsonWriter& writer, const std::string& kind, std::int32_t id, const std::string& name) {
    writer.Key((kind + "ID").c_str());
    writer.Int(id);
    Write(writer, (kind + "Name").c_str(), name);
}

// One line; the IDs have the names that they have in events.
std::string LockJson(const SiteGateway& gateway, const SiteLock& lock) {
    std::ostringstream text;
    rapidjson::OStreamWrapper stream(text);
    JsonWriter writer(stream);
    writer.StartObject();
    WriteIdAndName(writer, "gateway", gateway.id, gateway.name);
    WriteIdAndName(writer, "lock", lock.id, lock.name);
    writer.EndObject();
    return text.str() + "\n";
}

std::string LocksJson(const Site& site) {
    std::string text;
    for (const SiteGateway& gateway : site.gateways) {
        for (const SiteLock& lock : gateway.locks) {
            text += LockJson(gateway, lock);
        }
    }
    return text;
}

}  // namespace

int RunLocks(const Options& options, const Console& console) {
    if (!options.site) {
        throw UsageError("locks requires --site or --config");
    }
    console.Print(options.json ? LocksJson(*options.site) : LocksText(*options.site));
    return kAckStatus;
}

}  // namespace Muxctl
