#include "proxy/services/MqttCheck.h"

#include <boost/asio/ip/address.hpp>
#include <functional>

#include "proxy/configuration/ConfigurationReader.h"
#include "proxy/mqtt/MqttSite.h"
#include "proxy/net/Certificates.h"

namespace MuxProxy {
namespace {

void CheckFiles(const MqttSettings& mqtt) {
    const CertificateSettings files{mqtt.certificate, mqtt.key, mqtt.authority, ""};
    if (!files.certificate.empty()) {
        const Certificates certificates(files);
    } else if (!files.authority.empty()) {
        ReadConfigurationFile(files.authority);
        if (!TimeLeftOfCertificates(files.authority)) {
            throw ConfigurationError("the authority " + files.authority + " has no certificate in PEM");
        }
    }
}

void CheckPassword(const MqttSettings& mqtt) {
    const std::string text = mqtt.passwordFile.empty() ? "" : ReadConfigurationFile(mqtt.passwordFile);
    if (!text.empty() && text.find_first_of("\r\n") == 0) {
        throw ConfigurationError(mqtt.passwordFile + ": the first line, which is the password, is empty");
    }
}

void CheckCommandKeys(const MqttSettings& mqtt) {
    ReadCommandKeys(mqtt);
}

bool IsThisHost(const std::string& host) {
    boost::system::error_code error;
    const boost::asio::ip::address address = boost::asio::ip::make_address(host, error);
    return host == "localhost" || (!error && address.is_loopback());
}

}  // namespace

std::vector<Finding> CheckMqtt(const MqttSettings& mqtt) {
    std::vector<Finding> findings;
    for (const auto check : {&CheckFiles, &CheckPassword, &CheckCommandKeys}) {
        try {
            check(mqtt);
        } catch (const std::runtime_error& error) {
            findings.push_back({true, 0, 0, std::string("Mqtt: ") + error.what()});
        }
    }
    if (!mqtt.IsEncrypted() && !IsThisHost(mqtt.host)) {
        findings.push_back(
            {false, 0, 0, "Mqtt: the connection to " + mqtt.host + " is not encrypted without Authority"});
    }
    const std::vector<Finding> expiring = CheckExpiry({mqtt.certificate, mqtt.key, mqtt.authority, ""});
    findings.insert(findings.end(), expiring.begin(), expiring.end());
    return findings;
}

}  // namespace MuxProxy
