#pragma once

#include <string>
#include <vector>

namespace MuxProxy {

// The host as the audit finds it. Calls of this test program that bring a file to disk, and those to the journal, come
// here first. Any thread.

// How often something was to be brought to disk since the start, also when that failed.
int DiskSyncCount();

// While it lives, the disk fails, or takes nothing at all. One at a time.
class BrokenDisk {
  public:
    enum class Fault { kError, kHanging };

    explicit BrokenDisk(Fault fault);
    ~BrokenDisk();
    BrokenDisk(const BrokenDisk&) = delete;
    BrokenDisk& operator=(const BrokenDisk&) = delete;
};

// While it lives, the journal gets nothing, and each call's fields are kept here. One at a time.
class RecordedJournal {
  public:
    enum class State { kRunning, kHanging };

    explicit RecordedJournal(State state = State::kRunning);
    ~RecordedJournal();
    RecordedJournal(const RecordedJournal&) = delete;
    RecordedJournal& operator=(const RecordedJournal&) = delete;

    std::vector<std::vector<std::string>> Calls() const;
    // Ends kHanging.
    void Continue();
};

}  // namespace MuxProxy
