#pragma once

#include <thread>
#include <vector>

namespace Testing {

// Calls `work` with 0, 1, 2 and so on, each on a thread of its own and all at the same time, and waits for their end.
template <typename Work>
void OnThreads(int count, Work work) {
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&work, number] { work(number); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace Testing
