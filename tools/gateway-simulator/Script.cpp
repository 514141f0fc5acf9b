#include "tools/gateway-simulator/Script.h"

#include <fstream>

#include "tools/gateway-simulator/CommandError.h"

namespace Simulator {

std::vector<Step> ReadScript(std::istream& script, const std::string& name) {
    std::vector<Step> steps;
    int number = 0;
    for (std::string line; std::getline(script, line);) {
        ++number;
        try {
            steps.push_back(ParseStep(line));
        } catch (const CommandError& error) {
            throw CommandError(name + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    return steps;
}

std::vector<Step> LoadScript(const std::string& path) {
    std::ifstream file(path);
    // A directory opens and fails at the first character.
    if (!file || (file.peek() == std::ifstream::traits_type::eof() && !file.eof())) {
        throw CommandError(path + ": cannot be read");
    }
    return ReadScript(file, path);
}

}  // namespace Simulator
