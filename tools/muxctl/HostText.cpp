#include "tools/muxctl/HostText.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>

namespace Muxctl {
namespace {

// The interface behind the percent sign of a link-local address need not be on this machine.
bool IsAddress(const std::string& text) {
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* addresses = nullptr;
    const std::string address = text.substr(0, text.find('%'));
    const bool isAddress = getaddrinfo(address.c_str(), nullptr, &hints, &addresses) == 0;
    if (isAddress) {
        freeaddrinfo(addresses);
    }
    return isAddress;
}

bool CannotStandInName(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte <= ' ' || byte == 0x7F || character == ':' || character == '/';
}

// Names whose last part is a number were addresses to be, as in "300.1.1.1".
bool EndsWithNumber(const std::string& name) {
    const std::string last = name.substr(name.rfind('.') + 1);
    return last.find_first_not_of("0123456789") == std::string::npos;
}

// A dot behind a name makes it absolute.
bool CanBeName(const std::string& text) {
    const std::string name = !text.empty() && text.back() == '.' ? text.substr(0, text.size() - 1) : text;
    return !name.empty() && name.front() != '.' && name.find("..") == std::string::npos && !EndsWithNumber(name) &&
           std::none_of(name.begin(), name.end(), CannotStandInName);
}

}  // namespace

bool CanBeHost(const std::string& text) {
    return IsAddress(text) || CanBeName(text);
}

}  // namespace Muxctl
