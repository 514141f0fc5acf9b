#include "json/RapidJson.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

using LockLineWriter = rapidjson::Writer<rapidjson::StringBuffer>;

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

void WriteIdAndName(LockLineWriter& writer, const char* kind, std::int32_t id, const std::string& name) {
    writer.Key((kind + std::string("ID")).c_str());
    writer.Int(id);
    writer.Key((kind + std::string("Name")).c_str());
    writer.String(name.data(), static_cast<rapidjson::SizeType>(name.size()));
}

// One line; the IDs have the names that they have in events.
std::string LockJson(const SiteGateway& gateway, const SiteLock& lock) {
    rapidjson::StringBuffer buffer;
    LockLineWriter writer(buffer);
    writer.StartObject();
    WriteIdAndName(writer, "gateway", gateway.id, gateway.name);
    WriteIdAndName(writer, "lock", lock.id, lock.name);
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
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
