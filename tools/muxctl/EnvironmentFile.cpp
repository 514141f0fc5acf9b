#include "tools/muxctl/EnvironmentFile.h"

#include <cerrno>
#include <fstream>
#include <system_error>

#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

constexpr const char* kBlanks = " \t\r";

std::string WithoutBlanks(const std::string& text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string WithoutQuotes(const std::string& text) {
    const bool isQuoted =
        text.size() >= 2 && text.front() == text.back() && (text.front() == '"' || text.front() == '\'');
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

// What this line assigns to the variable.
std::optional<std::string> ValueIn(const std::string& line, const std::string& name) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || WithoutBlanks(line.substr(0, equals)) != name) {
        return std::nullopt;
    }
    return WithoutQuotes(WithoutBlanks(line.substr(equals + 1)));
}

}  // namespace

std::optional<std::string> VariableInFile(const std::string& file, const std::string& name) {
    std::optional<std::string> value;
    errno = 0;
    std::ifstream stream(file);
    if (!stream && errno != ENOENT) {
        throw UsageError(file + " cannot be read: " + std::generic_category().message(errno));
    }
    for (std::string line; std::getline(stream, line);) {
        if (std::optional<std::string> found = ValueIn(line, name)) {
            value = std::move(found);
        }
    }
    return value;
}

}  // namespace Muxctl
