// Packets cut out of what a client has sent, and unwrapped.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "net/MuxPacket.h"
#include "net/PacketCutter.h"
#include "tests/support/TestClient.h"

namespace {

using Bytes = Testing::LoopbackSocket::Bytes;

const std::string kText =
    R"({"Timestamp":1,"MessageID":"0f8fad5b","MessageCode":10,"Data":{"gatewayID":1,"lockID":5}})";

// So many packets arrive in one read.
void PacketCutting(benchmark::State& state) {
    const Bytes packet = Testing::Packet(kText);
    Bytes stream;
    for (std::int64_t count = 0; count < state.range(0); ++count) {
        stream.insert(stream.end(), packet.begin(), packet.end());
    }
    Brenk::Net::PacketCutter cutter;
    for ([[maybe_unused]] auto unused : state) {
        std::vector<Bytes> packets;
        cutter.Append(stream.data(), stream.size());
        cutter.Cut(packets);
        benchmark::DoNotOptimize(packets.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void PacketUnwrapping(benchmark::State& state) {
    Bytes packet = Testing::Packet(kText);
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(Brenk::Net::MuxPacket::IsMuxPacket(packet));
        const Brenk::Net::MuxPacket unwrapped(packet);
        benchmark::DoNotOptimize(unwrapped.MessageText().data());
    }
}

BENCHMARK(PacketCutting)->Arg(1)->Arg(10);
BENCHMARK(PacketUnwrapping);

}  // namespace
