#include "tests/support/ChildVariables.h"

#include <unistd.h>

#include <algorithm>

namespace Testing {
namespace {

std::vector<std::string> OwnVariables() {
    char** end = environ;
    while (*end != nullptr) {
        ++end;
    }
    return {environ, end};
}

}  // namespace

std::vector<std::string> VariablesWith(const std::vector<std::pair<std::string, std::string>>& others) {
    std::vector<std::string> variables = OwnVariables();
    for (const auto& [name, value] : others) {
        const std::string start = name + "=";
        const auto isOfThatName = [&](const std::string& variable) {
            return variable.compare(0, start.size(), start) == 0;
        };
        variables.erase(std::remove_if(variables.begin(), variables.end(), isOfThatName), variables.end());
        variables.push_back(start + value);
    }
    return variables;
}

std::vector<char*> PointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers(texts.size());
    std::transform(texts.begin(), texts.end(), pointers.begin(), [](std::string& text) { return text.data(); });
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace Testing
