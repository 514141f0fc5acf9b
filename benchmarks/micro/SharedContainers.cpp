// The queues and maps that threads share, as the Mux uses them.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>

#include "threading/Synchronized.h"

namespace {

struct Record {
    std::string id;
};

using RecordPointer = std::unique_ptr<Record>;
using Queue = std::deque<RecordPointer>;
using ByText = std::map<std::string, RecordPointer>;
using ByNumber = std::map<std::uint8_t, std::shared_ptr<Record>>;

void SharedQueuePushAndPop(benchmark::State& state) {
    Threading::Synchronized<Queue> shared;
    RecordPointer record = std::make_unique<Record>();
    for ([[maybe_unused]] auto unused : state) {
        shared.With([&](Queue& queue) { queue.push_back(std::move(record)); });
        shared.With([&](Queue& queue) {
            record = std::move(queue.front());
            queue.pop_front();
        });
    }
}

void SharedQueueFoundEmpty(benchmark::State& state) {
    const Threading::Synchronized<Queue> shared;
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(shared.With([](const Queue& queue) { return queue.empty(); }));
    }
}

// With so many requests pending beside it.
void PendingMapAddAndTake(benchmark::State& state) {
    Threading::Synchronized<ByText> shared;
    shared.With([&](ByText& pending) {
        for (std::int64_t other = 0; other < state.range(0); ++other) {
            pending.try_emplace(std::to_string(other));
        }
    });
    const std::string id = "0f8fad5b-d9cb-469f-a165-70867728950e";
    for ([[maybe_unused]] auto unused : state) {
        shared.With([&](ByText& pending) { pending.try_emplace(id); });
        shared.With([&](ByText& pending) { pending.erase(pending.find(id)); });
    }
}

void WaitingMapAddAndTake(benchmark::State& state) {
    Threading::Synchronized<ByNumber> shared;
    const auto record = std::make_shared<Record>();
    for ([[maybe_unused]] auto unused : state) {
        shared.With([&](ByNumber& waiting) { waiting.emplace(std::uint8_t{7}, record); });
        shared.With([](ByNumber& waiting) { waiting.erase(7); });
    }
}

BENCHMARK(SharedQueuePushAndPop);
BENCHMARK(SharedQueueFoundEmpty);
BENCHMARK(PendingMapAddAndTake)->Arg(0)->Arg(1000);
BENCHMARK(WaitingMapAddAndTake);

}  // namespace
