// Card data between its text in a client's message and its bytes in a frame, and bytes as the log shows them.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "diagnostics/Text.h"
#include "mux/messages/CardData.h"

namespace {

using Bytes = std::vector<unsigned char>;

void HexToUid(benchmark::State& state) {
    const std::string text(static_cast<std::size_t>(state.range(0)) * 2, 'A');
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(Mux::CardDataFromText(text));
    }
}

void UidToHex(benchmark::State& state) {
    const Bytes uid(static_cast<std::size_t>(state.range(0)), 0xA5);
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(Mux::CardDataToText(uid));
    }
}

void BytesToHex(benchmark::State& state) {
    const Bytes bytes(static_cast<std::size_t>(state.range(0)), 0xA5);
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(Diagnostics::BytesToHex(bytes));
    }
}

BENCHMARK(HexToUid)->Arg(7)->Arg(10);
BENCHMARK(UidToHex)->Arg(7)->Arg(10);
BENCHMARK(BytesToHex)->Arg(19)->Arg(253);

}  // namespace
