#include "benchmarks/load/IdleMeasurement.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "benchmarks/load/Clock.h"
#include "benchmarks/load/PinnedProcess.h"
#include "benchmarks/load/ProcessFigures.h"

namespace Load {
namespace {

// A thread that is woken more often in a second while there are no clients is a loop of the pace.
constexpr std::uint64_t kLoopWakeUps = 100;

using Threads = std::map<pid_t, ThreadUse>;

// What each number of clients cost in one turn, for each second.
struct Cost {
    double cpuMilliseconds = 0;
    // The part of the threads that are no loops.
    double cpuBesideLoops = 0;
    double wakeUps = 0;
    double preemptions = 0;
};

using Turn = std::vector<Cost>;

struct Figure {
    const char* name;
    double Cost::*member;
    const char* unit;
};

constexpr Figure kFigures[] = {{", CPU", &Cost::cpuMilliseconds, "ms/s"},
                               {", CPU beside the loops", &Cost::cpuBesideLoops, "ms/s"},
                               {", wake-ups", &Cost::wakeUps, "1/s"},
                               {", preemptions", &Cost::preemptions, "1/s"}};

// What clients add to one of the first column, in per cent of the second.
struct Growth {
    const char* name;
    double Cost::*member;
    double Cost::*whole;
};

constexpr Growth kGrowths[] = {{", CPU", &Cost::cpuMilliseconds, &Cost::cpuMilliseconds},
                               {", CPU beside the loops", &Cost::cpuBesideLoops, &Cost::cpuMilliseconds},
                               {", wake-ups", &Cost::wakeUps, &Cost::wakeUps}};

// The upper one of the two in the middle when the number of turns is even. There must be one.
template <typename ValueOf>
double MedianOf(const std::vector<Turn>& turns, ValueOf valueOf) {
    std::vector<double> values;
    std::transform(turns.begin(), turns.end(), std::back_inserter(values), valueOf);
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::set<pid_t> LoopsOf(pid_t process) {
    const Threads before = ThreadsOf(process);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    std::set<pid_t> loops;
    for (const auto& [thread, use] : ThreadsOf(process)) {
        const auto known = before.find(thread);
        if (known != before.end() && use.voluntarySwitches - known->second.voluntarySwitches > kLoopWakeUps) {
            loops.insert(thread);
        }
    }
    return loops;
}

// A server that serves has started its threads.
void WaitUntilItServes(const Target& target) {
    asio::io_context loop;
    Connect(loop, target);
}

// What a thread cost between two looks at it.
Cost CostOf(const ThreadUse& before, const ThreadUse& after, bool isLoop, double seconds) {
    const auto perSecond = [seconds](std::uint64_t from, std::uint64_t to) {
        return static_cast<double>(to - from) / seconds;
    };
    const std::chrono::duration<double, std::milli> cpu = after.cpuTime - before.cpuTime;
    Cost cost;
    cost.cpuMilliseconds = cpu.count() / seconds;
    cost.wakeUps = perSecond(before.voluntarySwitches, after.voluntarySwitches);
    cost.cpuBesideLoops = isLoop ? 0 : cost.cpuMilliseconds;
    cost.preemptions = perSecond(before.involuntarySwitches, after.involuntarySwitches);
    return cost;
}

Cost CostOf(pid_t process, const std::set<pid_t>& loops, std::chrono::nanoseconds duration) {
    const Threads before = ThreadsOf(process);
    const Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(duration);
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    Cost sum;
    for (const auto& [thread, use] : ThreadsOf(process)) {
        const auto known = before.find(thread);
        const ThreadUse usedBefore = known == before.end() ? ThreadUse() : known->second;
        const Cost cost = CostOf(usedBefore, use, loops.count(thread) > 0, elapsed.count());
        for (const Figure& figure : kFigures) {
            sum.*figure.member += cost.*figure.member;
        }
    }
    return sum;
}

// With this many clients, measured for one turn.
Cost MeasureTurn(const Target& target, const IdleMeasurement::Options& options, const std::set<pid_t>& loops,
                 std::size_t clients) {
    asio::io_context loop;
    std::vector<asio::ip::tcp::socket> connections;
    while (connections.size() < clients) {
        connections.push_back(Connect(loop, target));
    }
    std::this_thread::sleep_for(options.warmUp);
    return CostOf(options.process, loops, options.duration / options.turns);
}

// Of the number of clients that is at this place in each turn.
void AddFigures(Report& report, const std::vector<Turn>& turns, std::size_t index, const std::string& clients) {
    for (const Figure& figure : kFigures) {
        const auto value = [&](const Turn& turn) { return turn.at(index).*figure.member; };
        report.Add("idle, clients " + clients + figure.name, MedianOf(turns, value), figure.unit);
    }
    if (index == 0) {
        return;
    }
    for (const Growth& growth : kGrowths) {
        const auto percent = [&](const Turn& turn) {
            const Cost& first = turn.front();
            const double whole = first.*growth.whole;  // 0 in a measurement so short that nothing ran
            return whole > 0 ? (turn.at(index).*growth.member - first.*growth.member) / whole * 100 : 0;
        };
        report.Add("idle, " + clients + " clients add" + growth.name, MedianOf(turns, percent), "%");
    }
}

}  // namespace

void IdleMeasurement::Run(Report& report) const {
    WaitUntilItServes(target_);
    const PinnedProcess pinned(options_.process);
    const std::set<pid_t> loops = LoopsOf(options_.process);
    std::vector<Turn> turns(options_.turns);
    for (Turn& turn : turns) {
        for (const std::size_t clients : options_.clients) {
            turn.push_back(MeasureTurn(target_, options_, loops, clients));
        }
    }
    for (std::size_t index = 0; index < options_.clients.size(); ++index) {
        AddFigures(report, turns, index, std::to_string(options_.clients.at(index)));
    }
}

}  // namespace Load
