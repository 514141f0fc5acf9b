// What an answered request costs the whole Mux: received, parsed, refused because its gateway is unknown, and its NACK
// sent. The time is processor time of the Mux's threads beyond what they use while nothing happens.

#include <benchmark/benchmark.h>
#include <plog/Severity.h>

#include <chrono>
#include <string>
#include <thread>

#include "benchmarks/micro/CpuTime.h"
#include "benchmarks/micro/LogOutput.h"
#include "benchmarks/micro/LoopbackClients.h"
#include "mux/BrenkMux.h"

namespace {

using Benchmark::LogOutput;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr std::size_t kRequests = 200;
const std::string kRequest =
    R"({"Timestamp":1,"MessageID":"0f8fad5b","MessageCode":10,"Data":{"gatewayID":999,"lockID":5}})";

// Processor time in each second in which nothing happens.
double IdleShare() {
    const auto begin = Clock::now();
    const auto used = Benchmark::CpuTimeOfOtherThreads();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    return Seconds(Benchmark::CpuTimeOfOtherThreads() - used) / Seconds(Clock::now() - begin);
}

void AnswerRequests(benchmark::State& state) {
    const int port = Benchmark::FreePort();
    Mux::BrenkMux mux(port);
    mux.Start();
    Benchmark::LoopbackClients client(port, 1);
    Benchmark::Bytes packets;
    for (std::size_t count = 0; count < kRequests; ++count) {
        const Benchmark::Bytes packet = Benchmark::ClientPacket(kRequest);
        packets.insert(packets.end(), packet.begin(), packet.end());
    }
    const double idleShare = IdleShare();
    for ([[maybe_unused]] auto unused : state) {
        const auto begin = Clock::now();
        const auto used = Benchmark::CpuTimeOfOtherThreads();
        client.SendFromEach(packets);
        client.ReceiveTexts(kRequests);
        const Seconds busy = Benchmark::CpuTimeOfOtherThreads() - used;
        const Seconds idle = idleShare * Seconds(Clock::now() - begin);
        state.SetIterationTime((busy - idle).count() / static_cast<double>(kRequests));
    }
}

void AnsweredRequestLogFilteredOut(benchmark::State& state) {
    AnswerRequests(state);
}

void AnsweredRequestLoggedToFileAndConsole(benchmark::State& state) {
    const LogOutput output(plog::info);
    AnswerRequests(state);
}

BENCHMARK(AnsweredRequestLogFilteredOut)->UseManualTime()->Iterations(10);
BENCHMARK(AnsweredRequestLoggedToFileAndConsole)->UseManualTime()->Iterations(10);

}  // namespace
