#pragma once

#include <string>

namespace Testing {

// The JSON text of a message with its time, which no test can know, replaced by T. All messages begin with it.
inline std::string WithoutTimestamp(const std::string& json) {
    static const std::string kBefore = "{\"Timestamp\":";
    if (json.compare(0, kBefore.size(), kBefore) != 0) {
        return json;
    }
    const std::size_t end = json.find_first_not_of("0123456789", kBefore.size());
    return kBefore + 'T' + (end == std::string::npos ? "" : json.substr(end));
}

}  // namespace Testing
