// The server socket's own work for clients that each send a packet at the same time.

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "benchmarks/micro/CpuTime.h"
#include "benchmarks/micro/LoopbackClients.h"
#include "net/ServerSocket.h"
#include "tests/support/ReservedPort.h"
#include "tests/support/TestClient.h"

namespace {

using Brenk::Net::ServerSocket;

std::atomic<std::size_t> received{0};
std::atomic<std::size_t> accepted{0};

void WaitFor(const std::atomic<std::size_t>& counter, std::size_t count) {
    while (counter < count) {
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

void StartServer(ServerSocket& server) {
    accepted = 0;
    server.SetClientAcceptedCallback([](int, void*) { ++accepted; });
    server.SetDataReceivedCallback([](int, std::vector<unsigned char>* packet, void*) {
        const std::unique_ptr<std::vector<unsigned char>> owned(packet);
        ++received;
    });
    if (!server.InitSocket()) {
        throw std::runtime_error("the server cannot listen");
    }
    server.StartAcceptLoop();
}

// Processor time of the receive thread for each packet of a round in which all clients send one. The log is filtered
// out.
void DrainOfAPass(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const Testing::LoopbackSocket::Bytes packet = Testing::Packet(std::string(90, 'x'));
    const Testing::ReservedPort reserved;
    const int port = reserved.Number();
    ServerSocket server(port);
    StartServer(server);
    const Benchmark::LoopbackClients clients(port, count);
    WaitFor(accepted, count);
    server.StartReceiveLoop();
    for ([[maybe_unused]] auto unused : state) {
        received = 0;
        const auto begin = Benchmark::CpuTimeOfOtherThreads();
        clients.SendFromEach(packet);
        WaitFor(received, count);
        const auto used = Benchmark::CpuTimeOfOtherThreads() - begin;
        state.SetIterationTime(std::chrono::duration<double>(used).count() / static_cast<double>(count));
    }
}

BENCHMARK(DrainOfAPass)->Arg(1)->Arg(50)->Arg(500)->UseManualTime()->Iterations(50);

}  // namespace
