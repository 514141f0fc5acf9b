// whitelist load and whitelist check.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <exception>
#include <sstream>
#include <string>

#include "tools/client/Client.h"
#include "tools/muxctl/CardFile.h"
#include "tools/muxctl/Commands.h"
#include "tools/muxctl/Counted.h"
#include "tools/muxctl/ExitStatus.h"
#include "tools/muxctl/InputFile.h"
#include "tools/muxctl/Interruption.h"
#include "tools/muxctl/JsonLines.h"
#include "tools/muxctl/LoadJournal.h"
#include "tools/muxctl/LoadPlan.h"
#include "tools/muxctl/LoadReport.h"
#include "tools/muxctl/PeerHint.h"
#include "tools/muxctl/Seconds.h"
#include "tools/muxctl/UsageError.h"
#include "tools/muxctl/WaitIndicator.h"
#include "tools/muxctl/WhitelistLoader.h"

namespace Muxctl {
namespace {

constexpr const char* kJournalSuffix = ".journal";

CardFile ReadCards(const Options& options, bool requiresAddress) {
    const CardDefaults defaults = {options.gateway, options.locks, options.request.card, requiresAddress, options.site};
    return ReadCardFile(InputName(options.file), ReadWholeFile(options.file), defaults);
}

bool IsLoadedCard(const LoadStep& step) {
    return step.kind == LoadStep::Kind::kAdd && step.Succeeded();
}

// The steps that are left when the load cannot go on.
void LeaveRest(LoadPlan& plan, const std::string& reason) {
    for (LoadStep& step : plan) {
        if (step.state == LoadStep::State::kToDo) {
            step.reason = reason;
        }
    }
}

// What ends a load early, such as a lost connection or a journal on a full disk, leaves the rest to do for that reason.
void SendPlan(MuxClient::Client& client, LoadPlan& plan, LoadJournal& journal, const Interruption& interruption,
              const Options& options, const Console& console) {
    WaitIndicator indicator(console.error, console.hasIndicator);
    WhitelistLoader loader(client, plan, journal, options.timeout);
    const std::size_t before = loader.DoneCount();
    const auto start = std::chrono::steady_clock::now();
    try {
        loader.Run([&] {
            indicator.DrawProgress(loader.DoneCount() - before, plan.size() - before, TimeSince(start));
            interruption.ThrowIfAsked();
        });
    } catch (const std::exception& error) {
        LeaveRest(plan, error.what());
    }
}

void PrintLoad(const LoadPlan& plan, std::size_t earlier, const Options& options, const Console& console) {
    std::ostringstream report;
    if (options.json) {
        WriteJsonLoadReport(plan, earlier, InputName(options.file), report);
    } else {
        WriteLoadReport(plan, earlier, InputName(options.file), console.style, report);
    }
    console.PrintLine(report.str());
}

std::size_t CardCount(const CardFile& file) {
    std::size_t count = 0;
    for (const CardList& list : file.lists) {
        count += list.cards.size();
    }
    return count;
}

void PrintJsonCheck(const CardFile& cards, const Options& options, const Console& console) {
    std::ostringstream report;
    rapidjson::OStreamWrapper stream(report);
    JsonWriter writer(stream);
    writer.StartObject();
    Write(writer, "File", InputName(options.file));
    writer.Key("Cards");
    writer.Uint64(CardCount(cards));
    writer.Key("Locks");
    writer.Uint64(cards.lists.size());
    writer.Key("Faults");
    writer.StartArray();
    for (const std::string& fault : cards.faults) {
        WriteValue(writer, fault);
    }
    writer.EndArray();
    writer.EndObject();
    console.PrintLine(report.str());
}

void PrintCheck(const CardFile& cards, const Options& options, const Console& console) {
    for (const std::string& fault : cards.faults) {
        console.PrintLine(Printable(fault));
    }
    const std::string verdict = cards.faults.empty() ? console.style.Paint(Colour::kGreen, "valid")
                                                     : console.style.Paint(Colour::kRed, "invalid");
    const std::string sums = cards.hasReadCards
                                 ? Counted(CardCount(cards), "card") + ", " + Counted(cards.lists.size(), "lock")
                                 : "the cards were not checked";
    console.PrintLine(Printable(InputName(options.file)) + ": " + verdict + ", " + sums);
}

int RefuseCards(const CardFile& cards, const Console& console) {
    for (const std::string& fault : cards.faults) {
        console.Complain(fault);
    }
    console.Complain("nothing was sent");
    return kUsageStatus;
}

}  // namespace

int RunWhitelistLoad(const Options& options, const Console& console) {
    const bool isStream = options.file == "-";
    if (isStream && options.resumes) {
        throw UsageError("--resume: standard input cannot be resumed");
    }
    const CardFile cards = ReadCards(options, true);
    if (!cards.faults.empty()) {
        return RefuseCards(cards, console);
    }
    LoadPlan plan = PlanLoad(cards, options.clears);
    LoadJournal journal(isStream ? "" : options.file + kJournalSuffix);
    if (options.resumes) {
        journal.Resume(PeerName(options), plan);
    }
    const auto earlier = static_cast<std::size_t>(std::count_if(plan.begin(), plan.end(), IsLoadedCard));
    MuxClient::Client client(options.mux, options.timeout);
    if (!options.resumes) {
        journal.Start(PeerName(options));
    }
    Interruption interruption;
    SendPlan(client, plan, journal, interruption, options, console);
    PrintLoad(plan, earlier, options, console);
    const int status = StatusOf(plan);
    if (status == kAckStatus) {
        journal.Remove();
    } else if (!isStream) {
        console.Complain(status == kNackStatus ? "when that is corrected, run it again with --resume"
                                               : "run it again with --resume to send the rest");
    }
    interruption.EndIfAsked();
    return status;
}

int RunWhitelistCheck(const Options& options, const Console& console) {
    const CardFile cards = ReadCards(options, false);
    if (options.json) {
        PrintJsonCheck(cards, options, console);
    } else {
        PrintCheck(cards, options, console);
    }
    return cards.faults.empty() ? kFineStatus : kUnusableStatus;
}

}  // namespace Muxctl
