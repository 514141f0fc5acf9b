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
    std::istringstream journal(ReadWholeFile(path_));
    std::string found;
    std::getline(journal, found);
    if (found != target) {
        throw UsageError(path_ + " is of a load for " + found + ", not " + target);
    }
    std::set<std::string> done;
    for (std::string line; std::getline(journal, line);) {
        done.insert(line);
    }
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
        throw UsageError("cannot write " + path_ + ": " + std::generic_category().message(errno));
    }
}

void LoadJournal::Write(const std::string& line) const {
    if (write(descriptor_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw std::system_error(errno, std::generic_category(), "cannot write " + path_);
    }
}

}  // namespace Muxctl
