#include "tools/gateway-simulator/Script.h"

#include <sstream>

#include "tools/gateway-simulator/CommandError.h"
#include "tools/gateway-simulator/TextFile.h"

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
    std::istringstream script(ReadTextFile(path));
    return ReadScript(script, path);
}

}  // namespace Simulator
