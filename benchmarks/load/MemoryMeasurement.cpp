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

void AddMemory(Report& report, const std::string& name, pid_t process) {
    const MemoryUse use = MemoryOf(process);
    report.Add(name + ", RSS", static_cast<double>(use.residentKib), "KiB");
    report.Add(name + ", PSS", static_cast<double>(use.proportionalKib), "KiB");
}

}  // namespace

void MemoryMeasurement::Run(Report& report) const {
    std::this_thread::sleep_for(options_.warmUp);
    IdleClients clients(target_, options_.process);
    for (const std::size_t count : options_.clients) {
        clients.GrowTo(count);
        AddMemory(report, "memory, clients " + std::to_string(count), options_.process);
    }
    clients.Leave();
    AddMemory(report, "memory, all clients gone", options_.process);
    for (std::size_t left = options_.connects; left > 0; left -= std::min(left, kCrowd)) {
        clients.GrowTo(std::min(left, kCrowd));
        clients.Leave();
    }
    if (options_.connects > 0) {
        AddMemory(report, "memory, after " + std::to_string(options_.connects) + " connects", options_.process);
    }
}

}  // namespace Load
