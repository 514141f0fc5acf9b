#include "proxy/web/WebCheck.h"

#include <sys/stat.h>

#include <algorithm>

#include "proxy/net/Certificates.h"
#include "proxy/web/PasswordFile.h"

namespace MuxProxy {
namespace {

using Findings = std::vector<Finding>;

void CheckCertificate(const Configuration& configuration, Findings& findings) {
    const WebSettings& web = *configuration.web;
    if (web.certificate == configuration.certificates.certificate && web.key == configuration.certificates.key) {
        return;
    }
    const Certificates certificates({web.certificate, web.key, configuration.certificates.authority, ""});
    const Findings expiring = CheckExpiry({web.certificate, web.key, "", ""});
    findings.insert(findings.end(), expiring.begin(), expiring.end());
}

bool HasRule(const Configuration& configuration, const std::string& name) {
    return std::any_of(configuration.rules.begin(), configuration.rules.end(), [&](const Rule& rule) {
        return std::find(rule.clients.begin(), rule.clients.end(), name) != rule.clients.end();
    });
}

void CheckUsers(const Configuration& configuration, Findings& findings) {
    const std::string& file = configuration.web->users;
    if (file.empty()) {
        return;
    }
    for (const std::string& name : PasswordFile::Read(file).Names()) {
        if (!HasRule(configuration, name)) {
            findings.push_back(
                {false, 0, 0, std::string("Web: no rule names ").append(name).append(", a user in ").append(file)});
        }
    }
    struct stat status {};
    if (stat(file.c_str(), &status) == 0 && (status.st_mode & S_IROTH) != 0) {
        findings.push_back({false, 0, 0, "Web: every user of this host can read " + file + ": chmod o-r"});
    }
}

}  // namespace

std::vector<Finding> CheckWeb(const Configuration& configuration) {
    Findings findings;
    if (!configuration.web) {
        return findings;
    }
    for (const auto check : {&CheckCertificate, &CheckUsers}) {
        try {
            check(configuration, findings);
        } catch (const std::runtime_error& error) {
            findings.push_back({true, 0, 0, std::string("Web: ") + error.what()});
        }
    }
    return findings;
}

}  // namespace MuxProxy
