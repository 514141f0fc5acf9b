// One log line of each severity: written to log file and console, and filtered out.

#include <benchmark/benchmark.h>
#include <plog/Log.h>

#include <string>

#include "benchmarks/micro/LogOutput.h"
#include "diagnostics/Log.h"

namespace {

constexpr plog::Severity kSeverities[] = {plog::fatal, plog::error, plog::warning,
                                          plog::info,  plog::debug, plog::verbose};

void WriteLines(benchmark::State& state, plog::Severity severity) {
    const std::string id = "0f8fad5b-d9cb-469f-a165-70867728950e";
    for ([[maybe_unused]] auto unused : state) {
        MUX_LOG(severity) << "Sending message answer with ID " << id << " to socket with FD " << 7;
    }
}

void LogLineWritten(benchmark::State& state, plog::Severity severity) {
    const Benchmark::LogOutput output(severity);
    WriteLines(state, severity);
}

void LogLineFilteredOut(benchmark::State& state, plog::Severity severity) {
    plog::get()->setMaxSeverity(static_cast<plog::Severity>(severity - 1));
    WriteLines(state, severity);
    plog::get()->setMaxSeverity(plog::none);
}

const bool linesAreRegistered = [] {
    for (const plog::Severity severity : kSeverities) {
        const std::string name = plog::severityToString(severity);
        benchmark::RegisterBenchmark(("LogLineWritten/" + name).c_str(), LogLineWritten, severity);
        benchmark::RegisterBenchmark(("LogLineFilteredOut/" + name).c_str(), LogLineFilteredOut, severity);
    }
    return true;
}();

}  // namespace
