#include "benchmarks/load/ThroughputMeasurement.h"

#include <algorithm>
#include <asio.hpp>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/load/Clock.h"
#include "benchmarks/load/ProcessFigures.h"
#include "benchmarks/load/ReceivedMessage.h"
#include "benchmarks/load/Requests.h"
#include "benchmarks/load/StreamClient.h"
#include "benchmarks/load/Waiting.h"

namespace Load {
namespace {

// On the way at one time, all clients together: enough to keep a loop busy through a pause of this process.
constexpr std::size_t kOnTheWay = 256;
constexpr std::size_t kFewestPerClient = 2;

// Clients that send the next request for every answer.
class Pipelines {
  public:
    Pipelines(const Target& target, std::size_t count) : answersOf_(count, 0) {
        for (std::size_t index = 0; index < count; ++index) {
            clients_.push_back(std::make_unique<StreamClient>(
                loop_, target, [this, index](const std::string& text, Clock::time_point) { OnAnswer(index, text); }));
        }
    }

    void Start() {
        const std::size_t window = std::max(kFewestPerClient, kOnTheWay / clients_.size());
        for (std::size_t index = 0; index < clients_.size(); ++index) {
            for (std::size_t count = 0; count < window; ++count) {
                SendOne(index);
            }
        }
        const auto everybodyHasOne = [this] { return *std::min_element(answersOf_.begin(), answersOf_.end()) > 0; };
        RunUntil(loop_, everybodyHasOne, "every client's first answer");
    }

    void Run(std::chrono::nanoseconds duration) { RunFor(loop_, duration); }
    std::size_t Answers() const { return answers_; }

  private:
    void SendOne(std::size_t index) {
        clients_.at(index)->Send(RefusedRequest("throughput-" + std::to_string(sent_++)));
    }

    void OnAnswer(std::size_t index, const std::string& text) {
        if (ParseReceived(text).code != kNack) {
            throw std::runtime_error("not a refusal: " + text);
        }
        ++answersOf_.at(index);
        ++answers_;
        SendOne(index);
    }

    asio::io_context loop_;
    std::vector<std::unique_ptr<StreamClient>> clients_;
    std::vector<std::size_t> answersOf_;
    std::size_t answers_ = 0;
    std::size_t sent_ = 0;
};

}  // namespace

void ThroughputMeasurement::Run(Report& report) const {
    using Seconds = std::chrono::duration<double>;
    using Microseconds = std::chrono::duration<double, std::micro>;
    const auto cpuTime = [this] {
        return options_.process.has_value() ? CpuTimeOf(*options_.process) : std::chrono::nanoseconds(0);
    };
    Pipelines pipelines(target_, options_.clients);
    pipelines.Start();
    pipelines.Run(options_.warmUp);

    const std::size_t answersBefore = pipelines.Answers();
    const std::chrono::nanoseconds cpuBefore = cpuTime();
    const Clock::time_point start = Clock::now();
    pipelines.Run(options_.duration);
    const double elapsed = Seconds(Clock::now() - start).count();
    const double cpu = Microseconds(cpuTime() - cpuBefore).count();
    const auto answers = static_cast<double>(pipelines.Answers() - answersBefore);
    if (answers == 0) {
        throw std::runtime_error("the server has stopped answering");
    }

    const std::string name = "throughput, clients " + std::to_string(options_.clients);
    report.Add(name, answers / elapsed, "1/s");
    if (options_.process.has_value()) {
        report.Add(name + ", CPU per answer", cpu / answers, "us");
    }
}

}  // namespace Load
