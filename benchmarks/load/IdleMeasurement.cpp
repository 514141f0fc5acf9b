#include "benchmarks/load/IdleMeasurement.h"

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks/load/Clock.h"
#include "benchmarks/load/ProcessFigures.h"

namespace Load {

void IdleMeasurement::Run(Report& report) const {
    asio::io_context loop;
    std::vector<asio::ip::tcp::socket> clients;
    for (std::size_t count = 0; count < options_.clients; ++count) {
        clients.push_back(Connect(loop, target_));
    }
    std::this_thread::sleep_for(options_.warmUp);

    const ContextSwitches switchesBefore = ContextSwitchesOf(options_.process);
    const std::chrono::nanoseconds cpuBefore = CpuTimeOf(options_.process);
    const Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(options_.duration);
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    const std::chrono::duration<double, std::milli> cpu = CpuTimeOf(options_.process) - cpuBefore;
    const ContextSwitches switches = ContextSwitchesOf(options_.process);

    const std::string name = "idle, clients " + std::to_string(options_.clients);
    const auto perSecond = [&](std::uint64_t now, std::uint64_t before) {
        return static_cast<double>(now - before) / elapsed.count();
    };
    report.Add(name + ", CPU", cpu.count() / elapsed.count(), "ms/s");
    report.Add(name + ", wake-ups", perSecond(switches.voluntary, switchesBefore.voluntary), "1/s");
    report.Add(name + ", preemptions", perSecond(switches.involuntary, switchesBefore.involuntary), "1/s");
}

}  // namespace Load
