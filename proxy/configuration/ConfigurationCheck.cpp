// What --check finds beyond the file itself.

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <cstdlib>
#include <map>
#include <set>

#include "proxy/configuration/ConfigurationReader.h"
#include "proxy/configuration/MuxLocks.h"
#include "proxy/net/Certificates.h"

namespace MuxProxy {
namespace {

using LocksByGateway = std::map<std::int32_t, std::set<std::int32_t>>;
using Findings = std::vector<Finding>;

constexpr std::chrono::hours kDay{24};
constexpr std::chrono::hours kShortTime = 30 * kDay;

constexpr const char* kUncheckedEvents = ": locks whose low 16 bits are the same are not found";
constexpr const char* kListAdvice =
    ", and nobody is let in by one that has ended: \"mux-proxy-certificates DIR renew\" makes a new one";

Finding ErrorFinding(std::string text) {
    return {true, 0, 0, std::move(text)};
}

Finding WarningFinding(std::string text) {
    return {false, 0, 0, std::move(text)};
}

void CheckAddress(const char* member, const std::string& address, Findings& findings) {
    boost::system::error_code error;
    boost::asio::ip::make_address(address, error);
    if (error) {
        findings.push_back(ErrorFinding(member + (": " + address) + " is no IP address"));
    }
}

void CheckAddresses(const Configuration& configuration, Findings& findings) {
    for (const std::string& address : configuration.listen.addresses) {
        CheckAddress("Listen/Addresses", address, findings);
    }
    if (configuration.metrics) {
        CheckAddress("Metrics/Address", configuration.metrics->address, findings);
    }
    if (configuration.web) {
        for (const std::string& address : configuration.web->addresses) {
            CheckAddress("Web/Addresses", address, findings);
        }
    }
}

void CheckCertificates(const CertificateSettings& settings, Findings& findings) {
    try {
        const Certificates certificates(settings);
    } catch (const std::runtime_error& error) {
        findings.push_back(ErrorFinding(error.what()));
        return;
    }
    const Findings expiring = CheckExpiry(settings);
    findings.insert(findings.end(), expiring.begin(), expiring.end());
}

// "ends in 12 days", "ended 3 days ago".
std::string EndText(std::chrono::seconds left) {
    const auto days = std::to_string(std::abs(left / kDay));
    return left.count() < 0 ? "ended " + days + " days ago" : "ends in " + days + " days";
}

void AddLocksOfTheMux(const std::string& file, LocksByGateway& locks, Findings& findings) {
    try {
        for (const MuxLock& lock : ReadMuxLocks(file)) {
            locks[lock.address.gateway].insert(lock.address.lock);
        }
    } catch (const ConfigurationError& error) {
        findings.push_back(WarningFinding(std::string("the Mux's configuration ") + error.what() + kUncheckedEvents));
    }
}

// Locks that rules name one by one.
void AddLocksOfRules(const std::vector<Rule>& rules, LocksByGateway& locks) {
    for (const Rule& rule : rules) {
        for (const NumberSet::Range& gateway : rule.gateways.Ranges()) {
            for (const NumberSet::Range& lock : rule.locks.Ranges()) {
                if (gateway.first == gateway.last && lock.first == lock.last) {
                    locks[gateway.first].insert(lock.first);
                }
            }
        }
    }
}

bool NamesEach(const NumberSet& numbers) {
    const std::vector<NumberSet::Range>& ranges = numbers.Ranges();
    return std::all_of(ranges.begin(), ranges.end(),
                       [](const NumberSet::Range& range) { return range.first == range.last; });
}

bool HasEventsOfUnnamedLocks(const std::vector<Rule>& rules) {
    return std::any_of(rules.begin(), rules.end(), [](const Rule& rule) {
        return rule.rights.test(static_cast<std::size_t>(Right::kEvents)) &&
               !(NamesEach(rule.gateways) && NamesEach(rule.locks));
    });
}

void CheckEvents(const LocksByGateway& locks, Findings& findings) {
    for (const auto& [gateway, numbers] : locks) {
        std::map<std::uint16_t, std::int32_t> byBits;
        for (const std::int32_t number : numbers) {
            const auto [first, isNew] = byBits.emplace(static_cast<std::uint16_t>(number), number);
            if (!isNew) {
                findings.push_back(ErrorFinding("gateway " + std::to_string(gateway) + ": events cannot tell lock " +
                                                std::to_string(first->second) + " from lock " + std::to_string(number) +
                                                ", whose low 16 bits are the same"));
            }
        }
    }
}

}  // namespace

std::vector<Finding> CheckExpiry(const CertificateSettings& settings) {
    Findings findings;
    for (const std::string& file : {settings.certificate, settings.authority}) {
        const std::optional<std::chrono::seconds> left = TimeLeftOfCertificates(file);
        if (left && *left < kShortTime) {
            findings.push_back(WarningFinding("the certificate " + file + ' ' + EndText(*left)));
        }
    }
    const std::string& list = settings.revocationList;
    const std::optional<std::chrono::seconds> left = list.empty() ? std::nullopt : TimeLeftOfRevocationList(list);
    if (left && *left < kShortTime) {
        const bool isOver = left->count() < 0;
        findings.push_back({isOver, 0, 0, "the revocation list " + list + ' ' + EndText(*left) + kListAdvice});
    }
    return findings;
}

std::vector<Finding> CheckConfiguration(const std::string& file,
                                        std::vector<Finding> (*checkServices)(const Configuration&)) {
    const ReadResult read = ReadConfiguration(ReadConfigurationFile(file));
    Findings findings = read.findings;
    if (!read.IsUsable()) {
        return findings;
    }
    const Configuration& configuration = read.configuration;
    CheckAddresses(configuration, findings);
    CheckCertificates(configuration.certificates, findings);
    if (checkServices != nullptr) {
        const Findings ofServices = checkServices(configuration);
        findings.insert(findings.end(), ofServices.begin(), ofServices.end());
    }
    LocksByGateway locks;
    if (!configuration.mux.configuration.empty()) {
        AddLocksOfTheMux(configuration.mux.configuration, locks, findings);
    } else if (HasEventsOfUnnamedLocks(configuration.rules)) {
        findings.push_back(WarningFinding(std::string("Mux/Configuration is missing") + kUncheckedEvents));
    }
    AddLocksOfRules(configuration.rules, locks);
    CheckEvents(locks, findings);
    return findings;
}

}  // namespace MuxProxy
