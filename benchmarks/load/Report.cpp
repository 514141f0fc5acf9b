#include "benchmarks/load/Report.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iomanip>
#include <sstream>

#include "json/RapidJson.h"

namespace Load {
namespace {

double MillisecondsOf(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

}  // namespace

void Report::Add(const std::string& name, double value, const std::string& unit) {
    figures_.push_back({name, value, unit});
}

void Report::AddLatencies(const std::string& name, const Samples& samples) {
    Add(name + " median", MillisecondsOf(samples.Median()), "ms");
    Add(name + " p99", MillisecondsOf(samples.Percentile(99)), "ms");
    Add(name + " max", MillisecondsOf(samples.Max()), "ms");
    Add(name + " samples", static_cast<double>(samples.Count()), "");
}

std::string Report::Table() const {
    constexpr int kValueWidth = 14;
    std::size_t nameWidth = 0;
    for (const Figure& figure : figures_) {
        nameWidth = std::max(nameWidth, figure.name.size());
    }
    std::ostringstream table;
    table << std::fixed << std::setprecision(3);
    for (const Figure& figure : figures_) {
        table << std::left << std::setw(static_cast<int>(nameWidth)) << figure.name << std::right
              << std::setw(kValueWidth) << figure.value << (figure.unit.empty() ? "" : " ") << figure.unit << '\n';
    }
    return table.str();
}

std::string Report::Json() const {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartObject();
    writer.Key("figures");
    writer.StartArray();
    for (const Figure& figure : figures_) {
        writer.StartObject();
        writer.Key("name");
        writer.String(figure.name.c_str());
        writer.Key("value");
        writer.Double(figure.value);
        writer.Key("unit");
        writer.String(figure.unit.c_str());
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
    return buffer.GetString();
}

}  // namespace Load
