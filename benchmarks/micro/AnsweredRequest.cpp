// What an answered request costs the whole Mux: received, parsed, refused because its gateway is unknown, and its NACK
// sent. The counter is processor time of the Mux's threads beyond what they use while nothing happens; the time itself,
// that of a batch, is but the Mux's pace.

#include <benchmark/benchmark.h>
#include <plog/Severity.h>

#include <chrono>
#include <string>
#include <thread>

#include "benchmarks/micro/CpuTime.h"
#include "benchmarks/micro/LogOutput.h"
#include "benchmarks/micro/LoopbackClients.h"
#include "mux/BrenkMux.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/TestClient.h"

namespace {

using Benchmark::LogOutput;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr std::size_t kBatchSize = 50;
const std::string kRequest =
    R"({"Timestamp":1,"MessageID":"0f8fad5b","MessageCode":10,"Data":{"gatewayID":999,"lockID":5}})";

Testing::LoopbackSocket::Bytes Requests() {
    Testing::LoopbackSocket::Bytes packets;
    for (std::size_t count = 0; count < kBatchSize; ++count) {
        const Testing::LoopbackSocket::Bytes packet = Testing::Packet(kRequest);
        packets.insert(packets.end(), packet.begin(), packet.end());
    }
    return packets;
}

// Processor time of the Mux's threads while the action runs.
template <typename Action>
Seconds UsedWhile(Action action) {
    const auto used = Benchmark::CpuTimeOfOtherThreads();
    action();
    return Benchmark::CpuTimeOfOtherThreads() - used;
}

// Each answered batch is held against just as long a time without requests: what a pass costs drifts.
void AnswerRequests(benchmark::State& state) {
    const Testing::ReservedPort reserved;
    const int port = reserved.Number();
    Mux::BrenkMux mux(port);
    mux.Start();
    Benchmark::LoopbackClients client(port, 1);
    const Testing::LoopbackSocket::Bytes packets = Requests();
    const auto answerAll = [&] {
        client.SendFromEach(packets);
        client.ReceiveTexts(kBatchSize);
    };
    answerAll();  // The Mux may only be about to look for its first client.
    Seconds beyondIdle{};
    for ([[maybe_unused]] auto unused : state) {
        const auto begin = Clock::now();
        const Seconds busy = UsedWhile(answerAll);
        const auto elapsed = Clock::now() - begin;
        beyondIdle += busy - UsedWhile([&] { std::this_thread::sleep_for(elapsed); });
        state.SetIterationTime(Seconds(elapsed).count());
    }
    const double answers = static_cast<double>(state.iterations()) * static_cast<double>(kBatchSize);
    state.counters["cpu_per_answer"] = beyondIdle.count() / answers;
}

void AnsweredRequestLogFilteredOut(benchmark::State& state) {
    AnswerRequests(state);
}

void AnsweredRequestLoggedToFileAndConsole(benchmark::State& state) {
    const LogOutput output(plog::info);
    AnswerRequests(state);
}

BENCHMARK(AnsweredRequestLogFilteredOut)->UseManualTime();
BENCHMARK(AnsweredRequestLoggedToFileAndConsole)->UseManualTime();

}  // namespace
