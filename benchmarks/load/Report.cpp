#include "benchmarks/load/Report.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iomanip>
#include <numeric>
#include <sstream>
#include <utility>

#include "json/RapidJson.h"

namespace Load {
namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

double MillisecondsOf(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

// Dense enough to draw, with the tail that a figure alone would hide.
std::vector<double> DistributionPercents() {
    std::vector<double> percents(99);
    std::iota(percents.begin(), percents.end(), 1);
    percents.insert(percents.end(), {99.5, 99.9, 100});
    return percents;
}

void WriteText(Writer& writer, const char* key, const std::string& text) {
    writer.Key(key);
    writer.String(text.c_str());
}

void WriteNumbers(Writer& writer, const char* key, const std::vector<double>& numbers) {
    writer.Key(key);
    writer.StartArray();
    for (const double number : numbers) {
        writer.Double(number);
    }
    writer.EndArray();
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

void Report::AddDistribution(const std::string& name, const Samples& samples) {
    Distribution distribution{name, {}};
    for (const double percent : DistributionPercents()) {
        distribution.values.push_back(MillisecondsOf(samples.Percentile(percent)));
    }
    distributions_.push_back(std::move(distribution));
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
    Writer writer(buffer);
    writer.StartObject();
    writer.Key("figures");
    writer.StartArray();
    for (const Figure& figure : figures_) {
        writer.StartObject();
        WriteText(writer, "name", figure.name);
        writer.Key("value");
        writer.Double(figure.value);
        WriteText(writer, "unit", figure.unit);
        writer.EndObject();
    }
    writer.EndArray();
    writer.Key("distributions");
    writer.StartArray();
    for (const Distribution& distribution : distributions_) {
        writer.StartObject();
        WriteText(writer, "name", distribution.name);
        WriteText(writer, "unit", "ms");
        WriteNumbers(writer, "percents", DistributionPercents());
        WriteNumbers(writer, "values", distribution.values);
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
    return buffer.GetString();
}

}  // namespace Load
