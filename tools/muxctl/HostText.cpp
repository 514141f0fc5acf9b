#include "tools/muxctl/HostText.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>

#include "tools/muxctl/OptionChecks.h"
#include "tools/muxctl/UsageError.h"

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

// Where the colon before the port is, if there is one: that behind a bracket, or the only one. A URL has none.
std::size_t ColonBeforePort(const std::string& text) {
    if (!text.empty() && text.front() == '[') {
        const std::size_t colon = text.find("]:");
        return colon == std::string::npos ? colon : colon + 1;
    }
    const std::size_t colon = text.find(':');
    const bool canBeEnd = colon == text.rfind(':') && text.find('/') == std::string::npos;
    return canBeEnd ? colon : std::string::npos;
}

std::string WithoutBrackets(const std::string& text) {
    const bool hasBrackets = text.size() > 2 && text.front() == '[' && text.back() == ']';
    return hasBrackets ? text.substr(1, text.size() - 2) : text;
}

std::uint16_t ReadPort(const std::string& text) {
    const std::string fault = CheckPort(text);
    if (!fault.empty()) {
        throw UsageError("--host: the port " + fault);
    }
    return static_cast<std::uint16_t>(std::stoi(text));
}

}  // namespace

bool CanBeHost(const std::string& text) {
    return IsAddress(text) || CanBeName(text);
}

HostAndPort SplitHost(const std::string& text) {
    const std::size_t colon = ColonBeforePort(text);
    HostAndPort result = {WithoutBrackets(text.substr(0, colon)), std::nullopt};
    if (colon != std::string::npos) {
        result.port = ReadPort(text.substr(colon + 1));
    }
    if (!CanBeHost(result.host)) {
        throw UsageError("--host: " + result.host + " is neither an address nor a host name");
    }
    return result;
}

}  // namespace Muxctl
