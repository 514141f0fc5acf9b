#include "benchmarks/load/NeighbourMeasurement.h"

#include <optional>

#include "benchmarks/load/LatencyMeasurement.h"

namespace Load {

void NeighbourMeasurement::Run(Report& report) const {
    std::optional<Neighbours> neighbours;
    LatencyMeasurement::Options latency;
    latency.duration = options_.duration;
    // They begin when the client's warm-up is over.
    latency.goesOn = [&] {
        if (!neighbours.has_value()) {
            neighbours.emplace(target_, options_.numbers);
        }
        return neighbours->AreAllConnected();
    };
    report.AddLatencies("neighbours: " + Neighbours::Describe(options_.numbers),
                        LatencyMeasurement(target_, latency).Run());
}

}  // namespace Load
