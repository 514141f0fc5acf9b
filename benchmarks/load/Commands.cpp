#include "benchmarks/load/Commands.h"

#include <asio.hpp>
#include <chrono>
#include <cstddef>
#include <iostream>
#include <memory>

#include "benchmarks/load/EventMeasurement.h"
#include "benchmarks/load/GatewayPark.h"
#include "benchmarks/load/GatewayRequestMeasurement.h"
#include "benchmarks/load/IdleMeasurement.h"
#include "benchmarks/load/LatencyMeasurement.h"
#include "benchmarks/load/MemoryMeasurement.h"
#include "benchmarks/load/NeighbourMeasurement.h"
#include "benchmarks/load/RateMeasurement.h"
#include "benchmarks/load/StartUpMeasurement.h"
#include "benchmarks/load/ThroughputMeasurement.h"

namespace Load {
namespace {

constexpr std::chrono::microseconds kRandomPhase{5'000};

void AddSeconds(CLI::App& command, std::chrono::nanoseconds& duration) {
    command.add_option_function<double>(
        "--seconds",
        [&duration](const double& seconds) {
            duration = std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds));
        },
        "Duration of the measurement, after the warm-up");
}

void AddLatency(CLI::App& app, Action& action) {
    struct Choice {
        bool randomPhase = false;
        LatencyMeasurement::Options options;
    };
    const auto choice = std::make_shared<Choice>();
    CLI::App* const command = app.add_subcommand("latency", "Measure one client with one request at a time");
    command->add_flag("--random-phase", choice->randomPhase,
                      "Pause for a random time of up to 5 ms before each request");
    AddSeconds(*command, choice->options.duration);
    command->callback([&action, choice] {
        action = [choice](const Target& target, Report& report) {
            choice->options.longestPause = choice->randomPhase ? kRandomPhase : std::chrono::nanoseconds(0);
            const char* const name = choice->randomPhase ? "random phase" : "closed loop";
            const Samples samples = LatencyMeasurement(target, choice->options).Run();
            report.AddLatencies(name, samples);
            report.AddDistribution(name, samples);
        };
    });
}

// Measurements that need nothing but their options.
template <typename Measurement>
std::shared_ptr<typename Measurement::Options> AddPlain(CLI::App& command, Action& action) {
    auto options = std::make_shared<typename Measurement::Options>();
    command.callback([&action, options] {
        action = [options](const Target& target, Report& report) { Measurement(target, *options).Run(report); };
    });
    return options;
}

void AddThroughput(CLI::App& app, Action& action) {
    CLI::App* const command = app.add_subcommand("throughput", "Measure clients that pipeline requests");
    const auto options = AddPlain<ThroughputMeasurement>(*command, action);
    command->add_option("--clients", options->clients)->check(CLI::PositiveNumber);
    command->add_option_function<pid_t>(
        "--pid", [options](const pid_t& process) { options->process = process; },
        "Also measure the CPU time of this process");
    AddSeconds(*command, options->duration);
}

void AddRates(CLI::App& app, Action& action) {
    CLI::App* const command =
        app.add_subcommand("rates", "Measure the CPU time of a process at several rates of answers");
    const auto options = AddPlain<RateMeasurement>(*command, action);
    command->add_option("--pid", options->process)->required();
    command->add_option("--rates", options->rates, "Requests per second, separated by commas")
        ->delimiter(',')
        ->check(CLI::PositiveNumber);
    AddSeconds(*command, options->duration);
}

void AddGatewayRequests(CLI::App& app, Action& action) {
    CLI::App* const command =
        app.add_subcommand("gateway-requests", "Measure requests through gateways that answer at once");
    const auto options = AddPlain<GatewayRequestMeasurement>(*command, action);
    command->add_option("--gateways", options->gateways, "Number of simulated gateways")->check(CLI::PositiveNumber);
    AddSeconds(*command, options->duration);
}

void AddEvents(CLI::App& app, Action& action) {
    CLI::App* const command = app.add_subcommand("events", "Measure card events from quiet gateways to all clients");
    const auto options = AddPlain<EventMeasurement>(*command, action);
    command->add_option("--gateways", options->gateways, "Number of simulated gateways")->check(CLI::PositiveNumber);
    command->add_option("--clients", options->clients)->check(CLI::PositiveNumber);
    command->add_option_function<unsigned>(
        "--longest-silence",
        [options](const unsigned& seconds) { options->longestSilence = std::chrono::seconds(seconds); },
        "Longest silence of a gateway before an event, in seconds");
    AddSeconds(*command, options->duration);
}

void AddIdle(CLI::App& app, Action& action) {
    CLI::App* const command = app.add_subcommand("idle", "Measure CPU time and wake-ups of an idle process");
    const auto options = AddPlain<IdleMeasurement>(*command, action);
    command->add_option("--pid", options->process)->required();
    command
        ->add_option("--clients", options->clients, "Numbers of silent clients, measured in turns, separated by commas")
        ->delimiter(',');
    command->add_option("--turns", options->turns, "Turns for each number of clients")->check(CLI::PositiveNumber);
    AddSeconds(*command, options->duration);
}

void AddMemory(CLI::App& app, Action& action) {
    CLI::App* const command = app.add_subcommand("memory", "Measure RSS and PSS with idle clients and after they left");
    const auto options = AddPlain<MemoryMeasurement>(*command, action);
    command->add_option("--pid", options->process)->required();
    command->add_option("--clients", options->clients, "Rising numbers of clients, separated by commas")
        ->delimiter(',');
    command->add_option("--connects", options->connects, "Clients that connect and leave before the last measurement");
}

void AddNeighbours(CLI::App& app, Action& action) {
    CLI::App* const command = app.add_subcommand("neighbours", "Measure one client beside badly behaved ones");
    const auto options = AddPlain<NeighbourMeasurement>(*command, action);
    command->add_option("--silent", options->numbers.silent, "Clients that never read the 4 MB due to them");
    command->add_option("--trickling", options->numbers.trickling, "Clients that read 3 KB a second of 4 MB");
    command->add_option("--short-packets", options->numbers.withShortPackets, "Clients that send packets of 2 bytes");
    AddSeconds(*command, options->duration);
}

void AddStartUp(CLI::App& app, Action& action) {
    const auto options = std::make_shared<StartUpMeasurement::Options>();
    CLI::App* const command = app.add_subcommand("start-up", "Measure the time from start to the first connection");
    command->add_option("--repetitions", options->repetitions)->check(CLI::PositiveNumber);
    command->add_option("command", options->command, "Program and arguments, after --")->required();
    command->callback([&action, options] {
        action = [options](const Target& target, Report& report) {
            report.AddLatencies("start-up", StartUpMeasurement(target, *options).Run());
        };
    });
}

void AddGateways(CLI::App& app, Action& action) {
    const auto count = std::make_shared<std::size_t>(1);
    CLI::App* const command = app.add_subcommand("gateways", "Simulate gateways that answer at once, until ended");
    command->add_option("--count", *count)->check(CLI::PositiveNumber);
    command->callback([&action, count] {
        action = [count](const Target& /*unused*/, Report& /*unused*/) {
            asio::io_context loop;
            const GatewayPark park(loop, *count);
            park.Announce(std::cout);
            loop.run();
        };
    });
}

}  // namespace

void AddCommands(CLI::App& app, Action& action) {
    using Adder = void (*)(CLI::App&, Action&);
    constexpr Adder kAdders[] = {AddLatency, AddThroughput, AddRates,      AddGatewayRequests, AddEvents,
                                 AddIdle,    AddMemory,     AddNeighbours, AddStartUp,         AddGateways};
    for (const Adder add : kAdders) {
        add(app, action);
    }
    // Options of the program itself may stand behind the sub-command.
    for (CLI::App* const command : app.get_subcommands(nullptr)) {
        command->fallthrough();
    }
    app.require_subcommand(1);
}

}  // namespace Load
