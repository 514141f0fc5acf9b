#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <string>

#include "tools/muxctl/OptionChecks.h"

namespace Muxctl {

struct Bounds {
    std::int64_t lowest;
    std::int64_t highest;
};

// IDs of gateways and locks.
constexpr Bounds kIds = {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()};
constexpr Bounds kSetupNumbers = {0, 255};
constexpr Bounds kOptions = {0, std::numeric_limits<std::uint32_t>::max()};

// Adds an option that takes a decimal integer within the bounds. `number` must outlive the parser.
template <typename Number>
CLI::Option* AddInteger(CLI::App& app, const std::string& name, Number& number, const std::string& help,
                        const Bounds& bounds) {
    const auto check = [bounds](const std::string& text) { return CheckInteger(text, bounds.lowest, bounds.highest); };
    return app.add_option(name, number, help)->check(check)->type_name("INT");
}

}  // namespace Muxctl
