#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "benchmarks/load/Connection.h"
#include "benchmarks/load/Report.h"

namespace Load {

// The measurement that the command line chose; called once the line is read. Figures go into the report.
using Action = std::function<void(const Target& target, Report& report)>;

// Adds one sub-command for each measurement. Parsing stores what the chosen one does in `action`, which must live as
// long as `app`.
void AddCommands(CLI::App& app, Action& action);

}  // namespace Load
