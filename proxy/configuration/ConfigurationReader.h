#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "proxy/configuration/Configuration.h"

namespace MuxProxy {

// Something in the configuration file. A value.
struct Finding {
    bool isError = true;
    // From 1; 0 if it concerns no place in the file.
    std::size_t line = 0;
    std::size_t column = 0;
    std::string text;
};

// "hall.json:12:5: error: ...". Any thread.
std::string FindingText(const std::string& file, const Finding& finding);

struct ReadResult {
    Configuration configuration;
    std::vector<Finding> findings;

    bool IsUsable() const;
};

// Reads the text of a configuration file and finds what is wrong in it, all at once. Opens no other file. Any thread.
ReadResult ReadConfiguration(const std::string& text);

// The file cannot be read or has an error; `what()` has one finding on each line.
class ConfigurationError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The text of the file. Any thread. Throws ConfigurationError.
std::string ReadConfigurationFile(const std::string& file);

// Any thread. Throws ConfigurationError.
Configuration LoadConfiguration(const std::string& file);

// What has ended or ends within 30 days: the proxy's certificate, the authority and the revocation list. Only a list
// that has ended is an error. Reads the files, so it is not for the network loop; any other thread.
std::vector<Finding> CheckExpiry(const CertificateSettings& settings);

// Also what the files it names hold: certificates and key, their days left, the Mux's configuration, and locks of one
// gateway that events cannot tell apart. `checkServices` finds what is wrong for services; null for a program without
// them. Any thread.
std::vector<Finding> CheckConfiguration(const std::string& file,
                                        std::vector<Finding> (*checkServices)(const Configuration&));

}  // namespace MuxProxy
