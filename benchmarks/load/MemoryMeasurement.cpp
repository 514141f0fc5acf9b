#include "benchmarks/load/MemoryMeasurement.h"

#include <algorithm>
#include <string>
#include <thread>

#include "benchmarks/load/ProcessFigures.h"
#include "benchmarks/load/Waiting.h"

namespace Load {
namespace {

// Below what the server takes, so that none is refused.
constexpr std::size_t kCrowd = 200;

// Clients that are connected and send nothing. The server's descriptors tell when it has taken them or let them go.
class IdleClients {
  public:
    IdleClients(const Target& target, pid_t process)
        : target_(target), process_(process), descriptorsWithout_(DescriptorCountOf(process)) {}

    void GrowTo(std::size_t count) {
        while (clients_.size() < count) {
            clients_.push_back(Connect(loop_, target_));
        }
        AwaitDescriptors("the server taking every client");
    }

    void Leave() {
        clients_.clear();
        AwaitDescriptors("the server letting every client go");
    }

  private:
    void AwaitDescriptors(const std::string& what) {
        const std::size_t expected = descriptorsWithout_ + clients_.size();
        WaitUntil([&] { return DescriptorCountOf(process_) == expected; }, what);
    }

    const Target target_;
    const pid_t process_;
    const std::size_t descriptorsWithout_;
    asio::io_context loop_;
    std::vector<asio::ip::tcp::socket> clients_;
};

// Returns the resident memory.
double AddMemory(Report& report, const std::string& name, pid_t process) {
    const MemoryUse use = MemoryOf(process);
    const auto resident = static_cast<double>(use.residentKib);
    report.Add(name + ", RSS", resident, "KiB");
    report.Add(name + ", PSS", static_cast<double>(use.proportionalKib), "KiB");
    return resident;
}

}  // namespace

void MemoryMeasurement::Run(Report& report) const {
    std::this_thread::sleep_for(options_.warmUp);
    IdleClients clients(target_, options_.process);
    std::vector<double> resident;
    for (const std::size_t count : options_.clients) {
        clients.GrowTo(count);
        resident.push_back(AddMemory(report, "memory, clients " + std::to_string(count), options_.process));
    }
    clients.Leave();
    std::this_thread::sleep_for(options_.warmUp);
    resident.push_back(AddMemory(report, "memory, all clients gone", options_.process));
    report.Add("memory, left by all clients, RSS", resident.back() - resident.front(), "KiB");
    for (std::size_t left = options_.connects; left > 0; left -= std::min(left, kCrowd)) {
        clients.GrowTo(std::min(left, kCrowd));
        clients.Leave();
    }
    if (options_.connects > 0) {
        std::this_thread::sleep_for(options_.warmUp);
        AddMemory(report, "memory, after " + std::to_string(options_.connects) + " connects", options_.process);
    }
}

}  // namespace Load
