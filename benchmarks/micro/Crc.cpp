// The checksum of a gateway frame, as the Mux computes it and by a table of 512 bytes.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <vector>

#include "messages/crc/CRC16.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Table = std::array<std::uint16_t, 256>;

constexpr std::uint16_t kGenerator = 0x1021;

Table MakeTable() {
    Table table{};
    for (std::size_t index = 0; index < table.size(); ++index) {
        unsigned crc = static_cast<unsigned>(index) << 8;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x8000U) != 0 ? crc << 1 ^ kGenerator : crc << 1;
        }
        table.at(index) = static_cast<std::uint16_t>(crc);
    }
    return table;
}

std::uint16_t CrcByTable(const Table& table, const Bytes& bytes) {
    unsigned crc = 0;
    for (const unsigned char byte : bytes) {
        crc = (crc << 8 ^ table.at((crc >> 8 ^ byte) & 0xFFU)) & 0xFFFFU;
    }
    return static_cast<std::uint16_t>(crc);
}

void Crc(benchmark::State& state) {
    Bytes bytes(static_cast<std::size_t>(state.range(0)), 0xA5);
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(Brenk::CRC::CRC16::XModem(bytes));
    }
}

void CrcTable(benchmark::State& state) {
    const Bytes bytes(static_cast<std::size_t>(state.range(0)), 0xA5);
    const Table table = MakeTable();
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(CrcByTable(table, bytes));
    }
}

// A status request, a card to add, the longest frame.
BENCHMARK(Crc)->Arg(17)->Arg(45)->Arg(253);
BENCHMARK(CrcTable)->Arg(17)->Arg(45)->Arg(253);

}  // namespace
