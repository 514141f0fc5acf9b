#include "tools/muxctl/LoadReport.h"

#include <algorithm>
#include <array>
#include <map>
#include <sstream>
#include <utility>

#include "tools/muxctl/Counted.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/JsonLines.h"

namespace Muxctl {
namespace {

using Kind = LoadStep::Kind;
using State = LoadStep::State;

constexpr std::array kRequestNames = {"enable", "disable", "clear", "add"};
constexpr std::array kFailureNames = {"not sent", "", "", "refused", "unanswered", "not sent"};

std::string FailureName(const LoadStep& step) {
    return kFailureNames.at(static_cast<std::size_t>(step.state));
}

std::string RequestName(const LoadStep& step) {
    return kRequestNames.at(static_cast<std::size_t>(step.kind));
}

std::string LockText(const LoadStep& step) {
    return "gateway " + std::to_string(step.lock.gateway) + ", lock " + std::to_string(step.lock.lock);
}

std::string ReasonText(const LoadStep& step) {
    std::string reason = step.reason.empty() ? "no reason given" : step.reason;
    reason.erase(reason.find_last_not_of(' ') + 1);
    return reason + (step.error == 0 ? "" : " [error " + std::to_string(step.error) + "]");
}

std::string FailureText(const LoadStep& step) {
    const bool isCard = step.kind == Kind::kAdd;
    const std::string name = step.card.name.empty() ? "" : " (" + step.card.name + ")";
    return (isCard ? step.card.place + ": " : "") + RequestName(step) + ", " + LockText(step) +
           (isCard ? ", card " + step.card.card.data + name : "") + ": " + ReasonText(step);
}

std::size_t CountOf(const LoadPlan& plan, State state) {
    return static_cast<std::size_t>(std::count_if(plan.begin(), plan.end(), [state](const LoadStep& step) {
        return step.kind == Kind::kAdd && step.state == state;
    }));
}

// Those that were not sent, by lock and reason.
std::map<std::string, std::size_t> NotSentIn(const LoadPlan& plan) {
    std::map<std::string, std::size_t> counts;
    for (const LoadStep& step : plan) {
        if (step.state == State::kNotSent || step.state == State::kToDo) {
            ++counts[LockText(step) + ": not sent: " + ReasonText(step)];
        }
    }
    return counts;
}

std::string SumsOf(const LoadPlan& plan, std::size_t earlier) {
    std::ostringstream sums;
    const std::size_t added = CountOf(plan, State::kDone) - earlier;
    sums << Counted(added, "card") << " added";
    const std::array<std::pair<std::size_t, const char*>, 5> others = {{
        {earlier, "added before"},
        {CountOf(plan, State::kAlreadyListed), "already listed"},
        {CountOf(plan, State::kRefused), "refused"},
        {CountOf(plan, State::kUnanswered), "without an answer"},
        {CountOf(plan, State::kNotSent) + CountOf(plan, State::kToDo), "not sent"},
    }};
    for (const auto& [count, text] : others) {
        if (count > 0) {
            sums << ", " << count << ' ' << text;
        }
    }
    return sums.str();
}

void WriteFailure(JsonWriter& writer, const LoadStep& step) {
    writer.StartObject();
    Write(writer, "State", FailureName(step));
    Write(writer, "Request", RequestName(step));
    writer.Key("Gateway");
    writer.Int(step.lock.gateway);
    writer.Key("Lock");
    writer.Int(step.lock.lock);
    if (step.kind == Kind::kAdd) {
        Write(writer, "Card", step.card.card.data);
        Write(writer, "Name", step.card.name);
        Write(writer, "Place", step.card.place);
    }
    writer.Key("Error");
    writer.Int(step.error);
    Write(writer, "Message", step.reason);
    writer.EndObject();
}

void WriteCount(JsonWriter& writer, const char* key, std::size_t count) {
    writer.Key(key);
    writer.Uint64(count);
}

}  // namespace

void WriteLoadReport(const LoadPlan& plan, std::size_t earlier, const std::string& file, const Style& style,
                     std::ostream& output) {
    for (const LoadStep& step : plan) {
        if (step.state == State::kRefused || step.state == State::kUnanswered) {
            output << style.Paint(Colour::kRed, FailureName(step)) << "  " << Printable(FailureText(step)) << '\n';
        }
    }
    for (const auto& [text, count] : NotSentIn(plan)) {
        output << Printable(text) << " (" << Counted(count, "request") << ")\n";
    }
    output << Printable(file) << ": " << SumsOf(plan, earlier);
}

void WriteJsonLoadReport(const LoadPlan& plan, std::size_t earlier, const std::string& file, std::ostream& output) {
    rapidjson::OStreamWrapper stream(output);
    JsonWriter writer(stream);
    writer.StartObject();
    Write(writer, "File", file);
    WriteCount(writer, "Added", CountOf(plan, State::kDone) - earlier);
    WriteCount(writer, "AddedBefore", earlier);
    WriteCount(writer, "AlreadyListed", CountOf(plan, State::kAlreadyListed));
    writer.Key("Failed");
    writer.StartArray();
    for (const LoadStep& step : plan) {
        if (!step.Succeeded()) {
            WriteFailure(writer, step);
        }
    }
    writer.EndArray();
    writer.EndObject();
}

int StatusOf(const LoadPlan& plan) {
    const auto has = [&](State state) {
        return std::any_of(plan.begin(), plan.end(), [state](const LoadStep& step) { return step.state == state; });
    };
    if (has(State::kUnanswered) || has(State::kToDo)) {
        return kNoAnswerStatus;
    }
    return has(State::kRefused) ? kNackStatus : kAckStatus;
}

}  // namespace Muxctl
