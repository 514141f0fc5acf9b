#include "benchmarks/load/ProcessFigures.h"

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace Load {
namespace {

using std::filesystem::path;

path FolderOf(pid_t process) {
    return path("/proc") / std::to_string(process);
}

std::string TextOf(const path& file) {
    std::ifstream stream(file);
    std::string text((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    if (text.empty()) {
        throw std::runtime_error("cannot read " + file.string());
    }
    return text;
}

// The scheduler's figures of a thread begin with its time on a CPU.
std::chrono::nanoseconds CpuTimeIn(const path& schedulerFigures) {
    return std::chrono::nanoseconds(std::stoll(TextOf(schedulerFigures)));
}

ThreadUse UseOf(const path& thread) {
    const std::string status = TextOf(thread / "status");
    return {CpuTimeIn(thread / "schedstat"), NumberOf(status, "voluntary_ctxt_switches"),
            NumberOf(status, "nonvoluntary_ctxt_switches")};
}

}  // namespace

std::chrono::nanoseconds CpuTimeOf(pid_t process) {
    clockid_t clock = {};
    if (const int error = clock_getcpuclockid(process, &clock)) {
        throw std::system_error(error, std::generic_category(), "CPU clock of the process");
    }
    timespec time = {};
    if (clock_gettime(clock, &time) != 0) {
        throw std::system_error(errno, std::generic_category(), "CPU clock of the process");
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

std::map<pid_t, ThreadUse> ThreadsOf(pid_t process) {
    std::map<pid_t, ThreadUse> threads;
    for (const auto& thread : std::filesystem::directory_iterator(FolderOf(process) / "task")) {
        try {
            threads[std::stoi(thread.path().filename())] = UseOf(thread.path());
        } catch (const std::runtime_error&) {
            // It may have ended since its name was read.
            if (exists(thread.path())) {
                throw;
            }
        }
    }
    return threads;
}

MemoryUse MemoryOf(pid_t process) {
    const std::string rollup = TextOf(FolderOf(process) / "smaps_rollup");
    return {NumberOf(rollup, "Rss"), NumberOf(rollup, "Pss")};
}

std::size_t DescriptorCountOf(pid_t process) {
    const std::filesystem::directory_iterator descriptors(FolderOf(process) / "fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

std::uint64_t NumberOf(const std::string& text, const std::string& key) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind(key + ":", 0) == 0) {
            std::istringstream value(line.substr(key.size() + 1));
            std::uint64_t number = 0;
            if (value >> number) {
                return number;
            }
        }
    }
    throw std::runtime_error("no value for " + key);
}

}  // namespace Load
