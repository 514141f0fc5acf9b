#include "benchmarks/load/IdleMeasurement.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <thread>

#include "benchmarks/load/Clock.h"
#include "benchmarks/load/ProcessFigures.h"

namespace Load {
namespace {

// What each number of clients cost in one turn, for each second.
struct Cost {
    double cpuMilliseconds = 0;
    double wakeUps = 0;
    double preemptions = 0;
};

using Turn = std::vector<Cost>;

struct Figure {
    const char* name;
    double Cost::*member;
    const char* unit;
    bool isCompared;  // with the first number of clients
};

constexpr Figure kFigures[] = {{", CPU", &Cost::cpuMilliseconds, "ms/s", true},
                               {", wake-ups", &Cost::wakeUps, "1/s", true},
                               {", preemptions", &Cost::preemptions, "1/s", false}};

// The upper one of the two in the middle when the number of turns is even. There must be one.
template <typename ValueOf>
double MedianOf(const std::vector<Turn>& turns, ValueOf valueOf) {
    std::vector<double> values;
    std::transform(turns.begin(), turns.end(), std::back_inserter(values), valueOf);
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

Cost CostOf(pid_t process, std::chrono::nanoseconds duration) {
    const ContextSwitches switchesBefore = ContextSwitchesOf(process);
    const std::chrono::nanoseconds cpuBefore = CpuTimeOf(process);
    const Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(duration);
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    const std::chrono::duration<double, std::milli> cpu = CpuTimeOf(process) - cpuBefore;
    const ContextSwitches switches = ContextSwitchesOf(process);
    const auto perSecond = [&](std::uint64_t now, std::uint64_t before) {
        return static_cast<double>(now - before) / elapsed.count();
    };
    return {cpu.count() / elapsed.count(), perSecond(switches.voluntary, switchesBefore.voluntary),
            perSecond(switches.involuntary, switchesBefore.involuntary)};
}

// With this many clients, measured for one turn.
Cost MeasureTurn(const Target& target, const IdleMeasurement::Options& options, std::size_t clients) {
    asio::io_context loop;
    std::vector<asio::ip::tcp::socket> connections;
    while (connections.size() < clients) {
        connections.push_back(Connect(loop, target));
    }
    std::this_thread::sleep_for(options.warmUp);
    return CostOf(options.process, options.duration / options.turns);
}

}  // namespace

void IdleMeasurement::Run(Report& report) const {
    std::vector<Turn> turns(options_.turns);
    for (Turn& turn : turns) {
        for (const std::size_t clients : options_.clients) {
            turn.push_back(MeasureTurn(target_, options_, clients));
        }
    }
    for (std::size_t index = 0; index < options_.clients.size(); ++index) {
        const std::string clients = std::to_string(options_.clients.at(index));
        for (const Figure& figure : kFigures) {
            const auto value = [&](const Turn& turn) { return turn.at(index).*figure.member; };
            report.Add("idle, clients " + clients + figure.name, MedianOf(turns, value), figure.unit);
            if (index > 0 && figure.isCompared) {
                const auto percent = [&](const Turn& turn) {
                    return (value(turn) / turn.front().*figure.member - 1) * 100;
                };
                report.Add("idle, " + clients + " clients add" + figure.name, MedianOf(turns, percent), "%");
            }
        }
    }
}

}  // namespace Load
