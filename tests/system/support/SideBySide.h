#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

namespace SystemTest {

// Calls `work` with every row of a table, four at a time: rows that each start a process mostly wait.
template <typename Row, typename Work>
void ForEachSideBySide(const std::vector<Row>& rows, Work work) {
    constexpr std::size_t kThreads = 4;
    std::atomic<std::size_t> next{0};
    std::vector<std::thread> threads;
    for (std::size_t count = 0; count < std::min(kThreads, rows.size()); ++count) {
        threads.emplace_back([&] {
            for (std::size_t index = next++; index < rows.size(); index = next++) {
                work(rows.at(index));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace SystemTest
