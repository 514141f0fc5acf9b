#pragma once

#include <string>
#include <vector>

#include "benchmarks/load/Samples.h"

namespace Load {

// The figures of a run, in the order in which they were measured. Not thread-safe.
class Report {
  public:
    void Add(const std::string& name, double value, const std::string& unit);
    // Adds "NAME median", "NAME p99" and "NAME max" in milliseconds and "NAME samples". Throws std::logic_error when
    // there is no sample.
    void AddLatencies(const std::string& name, const Samples& samples);
    // Adds every whole percentile, the 99.5th, the 99.9th and the longest, in milliseconds; in the JSON only. Throws
    // std::logic_error when there is no sample.
    void AddDistribution(const std::string& name, const Samples& samples);

    // One line a figure: name, value, unit, in columns.
    std::string Table() const;
    // {"figures":[{"name":...,"value":...,"unit":...},...],
    //  "distributions":[{"name":...,"unit":...,"percents":[...],"values":[...]},...]}
    std::string Json() const;

  private:
    struct Figure {
        std::string name;
        double value;
        std::string unit;
    };

    // One value for each of the percents that every distribution has.
    struct Distribution {
        std::string name;
        std::vector<double> values;
    };

    std::vector<Figure> figures_;
    std::vector<Distribution> distributions_;
};

}  // namespace Load
