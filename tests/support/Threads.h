#pragma once

#include <sys/types.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
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

// The ids of a process's threads.
inline std::set<pid_t> ThreadsOf(pid_t process) {
    std::set<pid_t> threads;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        threads.insert(std::stoi(task.path().filename()));
    }
    return threads;
}

// Whether a thread sleeps (proc_pid_stat(5)).
inline bool Sleeps(pid_t process, pid_t thread) {
    std::ifstream stat("/proc/" + std::to_string(process) + "/task/" + std::to_string(thread) + "/stat");
    const std::string state{std::istreambuf_iterator<char>(stat), {}};
    return state.substr(state.rfind(')') + 1, 3) == " S ";
}

}  // namespace Testing
