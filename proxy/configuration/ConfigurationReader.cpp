#include "proxy/configuration/ConfigurationReader.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

#include "json/FaultText.h"
#include "json/Reading.h"
#include "proxy/configuration/ObjectReader.h"

namespace MuxProxy {
namespace {

using rapidjson::Value;

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
    };
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
