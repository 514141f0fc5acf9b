#pragma once

#include <string>

#include "tools/gateway-simulator/CommandError.h"

namespace Testing {

// The text of the CommandError that an action throws, empty when it throws none.
template <typename Action>
std::string CommandErrorOf(Action action) {
    try {
        action();
    } catch (const Simulator::CommandError& error) {
        return error.what();
    }
    return "";
}

}  // namespace Testing
