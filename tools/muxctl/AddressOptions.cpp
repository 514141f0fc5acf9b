#include "tools/muxctl/AddressOptions.h"

#include <algorithm>

#include "tools/muxctl/HostText.h"
#include "tools/muxctl/IntegerOption.h"
#include "tools/muxctl/LockNames.h"
#include "tools/muxctl/SitePorts.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

constexpr Bounds kPorts = {1, 65535};
constexpr std::uint16_t kEntrancePort = 5556;

const char* const kSiteHelp = "Take port and names from this site of the host";
const char* const kFileHelp = "Take port and names from this Mux configuration";

void Require(const CLI::App& command, const std::string& option) {
    if (command.count(option) == 0) {
        throw CLI::RequiredError(option);
    }
}

Site ReadUsableSite(const SiteSource& source) {
    try {
        return ReadSite(source);
    } catch (const UsageError& error) {
        throw SiteError(error.what());
    }
}

SiteSource SiteWithName(const std::string& name) {
    try {
        return SiteNamed(name);
    } catch (const UsageError& error) {
        throw SiteError(error.what());
    }
}

constexpr Source kGatewayOption = "--gateway: ";
constexpr Source kLockOption = "--lock: ";

CLI::Option* AddLocks(CLI::App& command, std::string& list, const std::string& help) {
    return command.add_option("-l,--lock", list, help)->type_name("ID[,ID...]");
}

bool IsGiven(const std::vector<const CLI::Option*>& options) {
    return std::any_of(options.begin(), options.end(), [](const CLI::Option* option) { return option->count() > 0; });
}

}  // namespace

void MuxOptions::AddTo(CLI::App& app) {
    host_ = app.add_option("-H,--host", options_.mux.host, "Name or address of the Mux, or HOST:PORT")
                ->capture_default_str();
    port_ = AddInteger(app, "-p,--port", options_.mux.port, "Port of the Mux; with TLS 5556 by default", kPorts)
                ->capture_default_str();
    app.add_flag("--tls", usesTls_, "Connect to mux-proxy with TLS, as do --ca and --cert");
    app.add_option("--ca", tls_.authority, "Certificates that the server's is verified with")->type_name("FILE");
    certificate_ = app.add_option("--cert", tls_.certificate, "Certificate of this client")->type_name("FILE");
    app.add_option("--key", tls_.key, "Its key, if not in the same file")->type_name("FILE")->needs(certificate_);
    site_ = app.add_option("-s,--site", siteName_, kSiteHelp)->type_name("NAME");
    file_ = app.add_option("-c,--config", configuration_, kFileHelp)->type_name("FILE")->excludes(site_);
}

void MuxOptions::Take() {
    TakeSite();
    TakeTls();
    TakeHostAndPort();
    const std::string site = site_->count() > 0 ? siteName_ : SiteOfConfiguration(configuration_);
    const bool isAddressOfSite = !site.empty() && host_->count() == 0 && port_->count() == 0 && !options_.mux.tls;
    if (isAddressOfSite) {
        options_.foreignPort = ForeignPortText(site, options_.mux.port, SitePlaces());
    }
}

void MuxOptions::TakeSite() {
    if (site_->count() > 0) {
        options_.site = ReadUsableSite(SiteWithName(siteName_));
    } else if (file_->count() > 0) {
        options_.site = ReadUsableSite(SiteOfFile(configuration_));
    }
}

void MuxOptions::TakeTls() {
    const std::optional<SiteEntrance> entrance = options_.site ? options_.site->entrance : std::nullopt;
    if (!usesTls_ && tls_.authority.empty() && tls_.certificate.empty() && !entrance) {
        return;
    }
    MuxClient::TlsSettings tls = entrance.value_or(SiteEntrance()).tls;
    if (!tls_.authority.empty()) {
        tls.authority = tls_.authority;
    }
    if (!tls_.certificate.empty()) {
        tls.certificate = tls_.certificate;
        tls.key = tls_.key;
    }
    options_.mux.tls = tls;
    if (entrance && host_->count() == 0) {
        options_.mux.host = entrance->host.value_or(options_.mux.host);
    }
}

void MuxOptions::TakeHostAndPort() {
    const HostAndPort host = SplitHost(options_.mux.host);
    options_.mux.host = host.host;
    if (port_->count() == 0) {
        options_.mux.port = host.port.value_or(DefaultPort());
    } else if (host.port) {
        throw UsageError("--host has a port, so --port must not be given");
    }
}

std::uint16_t MuxOptions::DefaultPort() const {
    const Site site = options_.site.value_or(Site());
    if (options_.mux.tls) {
        return site.entrance.value_or(SiteEntrance()).port.value_or(kEntrancePort);
    }
    return site.port.value_or(options_.mux.port);
}

CLI::Option* GatewayOption::AddTo(CLI::App& command, const std::string& help) {
    CLI::Option* const option = command.add_option("-g,--gateway", gateway_, help)->type_name("ID");
    added_.push_back(option);
    return option;
}

void GatewayOption::Take() {
    if (IsGiven(added_)) {
        options_.gateway = GatewayNamed(options_.site, kGatewayOption, gateway_);
    }
}

void LockListOption::AddTo(CLI::App& command, const std::string& help) {
    added_.push_back(AddLocks(command, list_, help));
}

void LockListOption::Take() {
    if (!IsGiven(added_)) {
        return;
    }
    options_.locks = PartsOf(list_);
    for (const std::string& lock : options_.locks) {
        const std::string fault = NameFault(options_.site, kLockOption, lock);
        if (!fault.empty()) {
            throw UsageError(fault);
        }
    }
}

void LockOptions::AddTo(CLI::App& command) {
    CLI::Option* const name = command.add_option("name", name_, "Name of the lock in the site, instead of --lock");
    command.add_option("-g,--gateway", gateway_, "ID of the gateway, or its name in the site")->type_name("ID");
    AddLocks(command, list_, "ID of the lock, or its name in the site; or several, one after the other: 5,6,7")
        ->excludes(name);
    commands_.push_back(&command);
}

void LockOptions::Take() {
    for (const CLI::App* command : commands_) {
        if (command->parsed()) {
            TakeFrom(*command);
        }
    }
}

void LockOptions::TakeFrom(const CLI::App& command) {
    const bool hasName = command.count("name") > 0;
    if (hasName && !options_.site) {
        throw UsageError("\"" + name_ + "\" is the name of a lock, which requires --site or --config");
    }
    if (!hasName && command.count("--lock") == 0) {
        Require(command, "--gateway");
        throw CLI::RequiredError("--lock");
    }
    std::optional<std::int32_t> gateway;
    if (command.count("--gateway") > 0) {
        gateway = GatewayNamed(options_.site, kGatewayOption, gateway_);
    }
    options_.request.locks = hasName ? std::vector{FindLock(*options_.site, name_, gateway)} : LocksOfList(gateway);
}

// A name with a comma is no list.
void LockOptions::RefuseNameAsList() const {
    for (const SiteGateway& gateway : options_.site.value_or(Site()).gateways) {
        for (const SiteLock& lock : gateway.locks) {
            if (lock.name == list_ && PartsOf(list_).size() > 1) {
                throw UsageError("--lock takes a list; give the name \"" + list_ + "\" without it");
            }
        }
    }
}

std::vector<MuxClient::LockAddress> LockOptions::LocksOfList(std::optional<std::int32_t> gateway) const {
    std::vector<MuxClient::LockAddress> locks;
    try {
        for (const std::string& lock : PartsOf(list_)) {
            locks.push_back(LockNamed(options_.site, kLockOption, lock, gateway));
        }
    } catch (const UsageError&) {
        RefuseNameAsList();
        throw;
    }
    return locks;
}

}  // namespace Muxctl
