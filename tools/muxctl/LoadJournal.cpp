#include "tools/muxctl/LoadJournal.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "tools/muxctl/InputFile.h"
#include "tools/muxctl/UsageError.h"

namespace Muxctl {
namespace {

constexpr mode_t kJournalMode = 0600;

using Steps = std::set<std::string>;

// Forgets the cards that were added to a lock before this removal: "clear 1 5" takes "add 1 5 ..." away.
void TakeRemoval(const std::string& key, Steps& steps) {
    const std::size_t address = key.find(' ');
    if (key.substr(0, address) != LoadStep::NameOf(LoadStep::Kind::kClear)) {
        return;
    }
    const std::string cards = LoadStep::NameOf(LoadStep::Kind::kAdd) + key.substr(address) + " ";
    auto step = steps.lower_bound(cards);
    while (step != steps.end() && step->compare(0, cards.size(), cards) == 0) {
        step = steps.erase(step);
    }
}

std::string ReadJournal(const std::string& path) {
    std::string text;
    const Diagnostics::TextReading reading = ReadInputFile(path, text);
    if (reading == Diagnostics::TextReading::kFailed && errno == ENOENT) {
        throw UsageError("--resume: there is no unfinished load, as " + path + " does not exist");
    }
    if (reading != Diagnostics::TextReading::kWhole) {
        throw UsageError(path + " " + InputFaultText(reading));
    }
    return text;
}

// The steps that have succeeded and still count.
Steps StepsIn(std::istream& journal) {
    Steps steps;
    for (std::string key; std::getline(journal, key);) {
        TakeRemoval(key, steps);
        steps.insert(key);
    }
    return steps;
}

}  // namespace

LoadJournal::~LoadJournal() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

void LoadJournal::Start(const std::string& target) {
    if (!path_.empty()) {
        Open(O_TRUNC);
        Write(target + "\n");
    }
}

void LoadJournal::Resume(const std::string& target, LoadPlan& plan) {
    std::istringstream journal(ReadJournal(path_));
    std::string found;
    std::getline(journal, found);
    if (found != target) {
        throw UsageError(path_ + " is of a load for " + found + ", not " + target);
    }
    const Steps done = StepsIn(journal);
    std::set<std::pair<std::int32_t, std::int32_t>> cleared;
    for (LoadStep& step : plan) {
        const std::pair<std::int32_t, std::int32_t> lock = {step.lock.gateway, step.lock.lock};
        if (cleared.count(lock) == 0 && done.count(step.Key()) > 0) {
            step.state = LoadStep::State::kDone;
        } else if (step.kind == LoadStep::Kind::kClear) {
            cleared.insert(lock);
        }
    }
    Open(0);
    // Behind a line that was cut off.
    Write("\n");
}

void LoadJournal::Add(const LoadStep& step) {
    if (!path_.empty()) {
        Write(step.Key() + "\n");
    }
}

void LoadJournal::Remove() {
    if (!path_.empty()) {
        unlink(path_.c_str());
    }
}

void LoadJournal::Open(int flags) {
    descriptor_ = open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | flags, kJournalMode);
    if (descriptor_ < 0) {
        throw UsageError("cannot write " + path_ + ": " + std::generic_category().message(errno) +
                         "; what is loaded is noted beside the file, so copy it to a folder that you may write to");
    }
}

void LoadJournal::Write(const std::string& line) const {
    const ssize_t written = write(descriptor_, line.data(), line.size());
    if (written != static_cast<ssize_t>(line.size())) {
        // A part is written only when the disk is full.
        throw std::system_error(written < 0 ? errno : ENOSPC, std::generic_category(), "cannot write " + path_);
    }
}

}  // namespace Muxctl
