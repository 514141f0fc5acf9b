#include "proxy/configuration/ConfigurationReader.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <system_error>

#include "json/FaultText.h"
#include "json/Reading.h"
#include "proxy/configuration/ObjectReader.h"

namespace MuxProxy {
namespace {

using rapidjson::Value;

constexpr std::size_t kMostSiteLength = 64;
constexpr std::size_t kMostPrefixLength = 255;
constexpr std::size_t kMostClientLength = 64;
constexpr std::size_t kMostTitleLength = 64;
constexpr std::uint16_t kPlainMqttPort = 1883;
constexpr std::uint16_t kEncryptedMqttPort = 8883;

constexpr const char* kSiteRule = "1 to 64 letters, digits, \"-\" or \"_\"";
constexpr const char* kPrefixRule = "levels of letters, digits, \"-\" or \"_\" with \"/\" between them";
constexpr const char* kClientRule = "1 to 64 bytes without \"+\", \"#\" and \"/\"";
constexpr const char* kTitleRule = "a text of at most 64 bytes";

ObjectMembers RuleMembers(ObjectReader& reader, Rule& rule) {
    return {ObjectReader::Required(reader.Texts("Clients", rule.clients)),
            ObjectReader::Required(reader.Rights("Rights", rule.rights)),
            ObjectReader::Required(reader.Numbers("Gateways", rule.gateways)),
            ObjectReader::Required(reader.Numbers("Locks", rule.locks))};
}

ObjectMember Rules(ObjectReader& reader, std::vector<Rule>& rules) {
    return reader.Array("Rules", [&](const Value& value, const std::string& pointer) {
        reader.Read(value, pointer, RuleMembers(reader, rules.emplace_back()));
    });
}

// What may be a level of a topic that the proxy publishes: nothing that brokers and their access lists treat specially.
bool IsLevel(std::string_view text) {
    constexpr const char* kCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    return !text.empty() && text.find_first_not_of(kCharacters) == std::string_view::npos;
}

bool IsSite(std::string_view text) {
    return text.size() <= kMostSiteLength && IsLevel(text);
}

bool IsPrefix(std::string_view text) {
    if (text.size() > kMostPrefixLength) {
        return false;
    }
    for (std::size_t slash = text.find('/'); slash != std::string_view::npos; slash = text.find('/')) {
        if (!IsLevel(text.substr(0, slash))) {
            return false;
        }
        text.remove_prefix(slash + 1);
    }
    return IsLevel(text);
}

bool IsClientLevel(std::string_view text) {
    constexpr std::string_view kOthers("+#/\0", 4);
    return !text.empty() && text.size() <= kMostClientLength && text.find_first_of(kOthers) == std::string_view::npos;
}

bool IsTitle(std::string_view text) {
    return text.size() <= kMostTitleLength;
}

ObjectMembers DiscoveryMembers(ObjectReader& reader, DiscoverySettings& into) {
    return {reader.Text("Prefix", into.prefix, &IsPrefix, kPrefixRule),
            reader.Text("Client", into.client, &IsClientLevel, kClientRule)};
}

ObjectMembers MqttMembers(ObjectReader& reader, MqttSettings& into) {
    return {ObjectReader::Required(reader.Text("Host", into.host)),
            reader.Port("Port", into.port),
            reader.Text("Authority", into.authority),
            reader.Text("Certificate", into.certificate),
            reader.Text("Key", into.key),
            reader.Text("User", into.user),
            reader.Text("PasswordFile", into.passwordFile),
            ObjectReader::Required(reader.Text("Site", into.site, &IsSite, kSiteRule)),
            reader.Text("Prefix", into.prefix, &IsPrefix, kPrefixRule),
            reader.Flag("WholeCards", into.wholeCards),
            reader.Count("WaitingDays", into.waitingDays),
            reader.Count("WaitingCount", into.waitingCount),
            reader.Text("CommandKeys", into.commandKeys),
            reader.Optional("Discovery", into.discovery, &DiscoveryMembers)};
}

ObjectMembers MetricsMembers(ObjectReader& reader, MetricsSettings& into) {
    return {reader.Text("Address", into.address), reader.Port("Port", into.port)};
}

ObjectMembers StatusRoundMembers(ObjectReader& reader, StatusRoundSettings& into) {
    return {reader.Hours("Hours", into.interval)};
}

ObjectMembers WebMembers(ObjectReader& reader, WebSettings& into) {
    return {reader.Texts("Addresses", into.addresses),
            reader.Port("Port", into.port),
            reader.Text("Certificate", into.certificate),
            reader.Text("Key", into.key),
            reader.Text("Users", into.users),
            reader.Hours("SessionHours", into.sessionHours),
            reader.Minutes("IdleMinutes", into.idleMinutes),
            reader.Text("Title", into.title, &IsTitle, kTitleRule),
            reader.Texts("Auditors", into.auditors),
            reader.Text("Cards", into.cards)};
}

ObjectMembers Members(ObjectReader& reader, Configuration& into) {
    return {
        reader.Object("Listen",
                      {reader.Texts("Addresses", into.listen.addresses), reader.Port("Port", into.listen.port)}),
        reader.Object("Mux", {reader.Text("Host", into.mux.host), reader.Port("Port", into.mux.port),
                              reader.Text("Configuration", into.mux.configuration)}),
        ObjectReader::Required(reader.Object(
            "Certificates", {ObjectReader::Required(reader.Text("Certificate", into.certificates.certificate)),
                             ObjectReader::Required(reader.Text("Key", into.certificates.key)),
                             ObjectReader::Required(reader.Text("Authority", into.certificates.authority)),
                             reader.Text("RevocationList", into.certificates.revocationList)})),
        reader.Object("Limits", {reader.Count("Connections", into.limits.connections),
                                 reader.Count("ConnectionsPerClient", into.limits.connectionsPerClient),
                                 reader.Count("ConnectionsPerAddress", into.limits.connectionsPerAddress),
                                 reader.Seconds("HandshakeSeconds", 1, into.limits.handshake),
                                 reader.Seconds("IdleSeconds", 0, into.limits.idle)}),
        ObjectReader::Required(reader.Object(
            "Audit",
            {ObjectReader::Required(reader.Text("File", into.audit.file)), reader.Count("Days", into.audit.days),
             reader.Count("MiB", into.audit.mebibytes), reader.Flag("WholeCards", into.audit.wholeCards)})),
        ObjectReader::Required(Rules(reader, into.rules)),
        reader.Optional("Mqtt", into.mqtt, &MqttMembers),
        reader.Optional("Metrics", into.metrics, &MetricsMembers),
        reader.Optional("StatusRound", into.statusRound, &StatusRoundMembers),
        reader.Optional("Web", into.web, &WebMembers),
    };
}

// Whether one port cannot be listened on at both: the same address, or all of the other's family.
bool Overlap(const std::string& one, const std::string& other) {
    const bool isSixth = one.find(':') != std::string::npos;
    const bool isOthersSixth = other.find(':') != std::string::npos;
    const char* const all = isSixth ? "::" : "0.0.0.0";
    return isSixth == isOthersSixth && (one == other || one == all || other == all);
}

bool HaveSamePlace(const ListenSettings& listen, const WebSettings& web) {
    return listen.port == web.port &&
           std::any_of(web.addresses.begin(), web.addresses.end(), [&](const std::string& address) {
               return std::any_of(listen.addresses.begin(), listen.addresses.end(),
                                  [&](const std::string& other) { return Overlap(address, other); });
           });
}

void CompareWebMembers(const WebSettings& web, const ListenSettings& listen, ObjectReader& reader) {
    if (web.certificate.empty() != web.key.empty()) {
        const bool hasKey = web.certificate.empty();
        reader.Complain(hasKey ? "/Web/Key" : "/Web/Certificate",
                        std::string("requires ") + (hasKey ? "Certificate" : "Key"));
    }
    if (HaveSamePlace(listen, web)) {
        reader.Complain("/Web/Port",
                        "must differ from Listen/Port, " + std::to_string(listen.port) + ", at the same address");
    }
}

// What the section leaves to others.
void CompleteWeb(const Configuration& configuration, WebSettings& web) {
    if (web.certificate.empty()) {
        web.certificate = configuration.certificates.certificate;
        web.key = configuration.certificates.key;
    }
    if (web.cards.empty()) {
        web.cards = configuration.audit.file + ".cards";
    }
}

// Members that mean nothing without others.
void CompareMqttMembers(const MqttSettings& mqtt, const AuditSettings& audit, ObjectReader& reader) {
    const struct {
        const char* name;
        bool isThere;
        const char* other;
        bool hasOther;
    } needs[] = {{"/Mqtt/Certificate", !mqtt.certificate.empty(), "Key", !mqtt.key.empty()},
                 {"/Mqtt/Certificate", !mqtt.certificate.empty(), "Authority", mqtt.IsEncrypted()},
                 {"/Mqtt/Key", !mqtt.key.empty(), "Certificate", !mqtt.certificate.empty()},
                 {"/Mqtt/PasswordFile", !mqtt.passwordFile.empty(), "User", !mqtt.user.empty()},
                 {"/Mqtt/WholeCards", mqtt.wholeCards, "Audit/WholeCards", audit.wholeCards}};
    for (const auto& need : needs) {
        if (need.isThere && !need.hasOther) {
            reader.Complain(need.name, std::string("requires ") + need.other);
        }
    }
}

}  // namespace

std::string FindingText(const std::string& file, const Finding& finding) {
    std::ostringstream text;
    text << file;
    if (finding.line != 0) {
        text << ':' << finding.line << ':' << finding.column;
    }
    text << ": " << (finding.isError ? "error: " : "warning: ") << finding.text;
    return text.str();
}

bool ReadResult::IsUsable() const {
    return std::none_of(findings.begin(), findings.end(), [](const Finding& finding) { return finding.isError; });
}

ReadResult ReadConfiguration(const std::string& text) {
    ReadResult result;
    rapidjson::Document root;
    if (!Json::Parse(text, root)) {
        result.findings.push_back({true, 0, 0, Json::FaultText(text)});
        return result;
    }
    ObjectReader reader(text, result.findings);
    reader.Read(root, "", Members(reader, result.configuration));
    std::optional<MqttSettings>& mqtt = result.configuration.mqtt;
    if (mqtt) {
        CompareMqttMembers(*mqtt, result.configuration.audit, reader);
        const std::uint16_t usualPort = mqtt->IsEncrypted() ? kEncryptedMqttPort : kPlainMqttPort;
        mqtt->port = mqtt->port != 0 ? mqtt->port : usualPort;
    }
    if (std::optional<WebSettings>& web = result.configuration.web) {
        CompareWebMembers(*web, result.configuration.listen, reader);
        CompleteWeb(result.configuration, *web);
    }
    return result;
}

std::string ReadConfigurationFile(const std::string& file) {
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(stream), {});
    if (!stream.is_open() || stream.bad() || text.empty()) {
        const int error = errno != 0 ? errno : ENODATA;
        throw ConfigurationError(file + ": cannot be read: " + std::system_category().message(error));
    }
    return text;
}

Configuration LoadConfiguration(const std::string& file) {
    const ReadResult result = ReadConfiguration(ReadConfigurationFile(file));
    if (result.IsUsable()) {
        return result.configuration;
    }
    std::string text;
    for (const Finding& finding : result.findings) {
        text.append(text.empty() ? "" : "\n").append(FindingText(file, finding));
    }
    throw ConfigurationError(text);
}

}  // namespace MuxProxy
