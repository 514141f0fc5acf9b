#pragma once

#include <string>

#include "tools/muxctl/LoadPlan.h"

namespace Muxctl {

// The file that says which steps of an unfinished load have succeeded: a line for its target, then one for each step.
// Each is written at once, so that the load can be continued after any end of the program. Only its owner can read it,
// for it holds card numbers.
//
// Not thread-safe.
class LoadJournal {
  public:
    // Without a path it keeps nothing.
    explicit LoadJournal(std::string path) : path_(std::move(path)) {}
    ~LoadJournal();
    LoadJournal(const LoadJournal&) = delete;
    LoadJournal& operator=(const LoadJournal&) = delete;

    // Begins a new load for this target in place of an earlier one. Throws UsageError if it cannot be written.
    void Start(const std::string& target);
    // Continues a load: marks the steps of the plan that have succeeded. Cards from before a removal that is still to
    // come do not count. Throws UsageError if there is none, if it has another target, or if it cannot be written.
    void Resume(const std::string& target, LoadPlan& plan);

    // Throws std::system_error if it cannot be written.
    void Add(const LoadStep& step);
    // Ends the load: nothing is left to continue.
    void Remove();

    const std::string& Path() const { return path_; }

  private:
    void Open(int flags);
    void Write(const std::string& line) const;

    std::string path_;
    int descriptor_ = -1;
};

}  // namespace Muxctl
