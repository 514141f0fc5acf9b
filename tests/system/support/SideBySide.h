#pragma once

#include <atomic>
#include <cstddef>
#include <vector>

#include "tests/support/Threads.h"

namespace SystemTest {

// Calls `work` with every row of a table, four at a time: rows that each start a process mostly wait.
template <typename Row, typename Work>
void ForEachSideBySide(const std::vector<Row>& rows, Work work) {
    std::atomic<std::size_t> next{0};
    Testing::OnThreads(4, [&](int) {
        for (std::size_t index = next++; index < rows.size(); index = next++) {
            work(rows.at(index));
        }
    });
}

}  // namespace SystemTest
