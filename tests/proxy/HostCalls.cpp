#include "tests/proxy/HostCalls.h"

#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace MuxProxy {
namespace {

struct HostState {
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<BrokenDisk::Fault> diskFault;
    bool isJournalRecorded = false;
    bool isJournalHanging = false;
    std::vector<std::vector<std::string>> journalCalls;
};

std::atomic<int> syncCount{0};

HostState& Host() {
    static HostState state;
    return state;
}

// 0, or -1 as the call would return.
int SyncUnlessBroken(long call, int descriptor) {
    ++syncCount;
    HostState& host = Host();
    std::unique_lock lock(host.mutex);
    host.changed.wait(lock, [&] { return host.diskFault != BrokenDisk::Fault::kHanging; });
    if (host.diskFault == BrokenDisk::Fault::kError) {
        errno = EIO;
        return -1;
    }
    lock.unlock();
    return static_cast<int>(syscall(call, descriptor));
}

std::vector<std::string> TextsOf(const iovec* parts, int count) {
    std::vector<std::string> texts;
    for (const iovec* part = parts; part != parts + count; ++part) {
        texts.emplace_back(static_cast<const char*>(part->iov_base), part->iov_len);
    }
    return texts;
}

}  // namespace

extern "C" {

// SQLite's library finds these before those of the C library.
int fsync(int descriptor) {
    return SyncUnlessBroken(SYS_fsync, descriptor);
}

int fdatasync(int descriptor) {
    return SyncUnlessBroken(SYS_fdatasync, descriptor);
}

int __real_sd_journal_sendv(const iovec* parts, int count);
int __wrap_sd_journal_sendv(const iovec* parts, int count) {
    HostState& host = Host();
    std::unique_lock lock(host.mutex);
    host.changed.wait(lock, [&] { return !host.isJournalHanging; });
    if (!host.isJournalRecorded) {
        lock.unlock();
        return __real_sd_journal_sendv(parts, count);
    }
    host.journalCalls.push_back(TextsOf(parts, count));
    return 0;
}

}  // extern "C"

int DiskSyncCount() {
    return syncCount;
}

BrokenDisk::BrokenDisk(Fault fault) {
    const std::lock_guard lock(Host().mutex);
    Host().diskFault = fault;
}

BrokenDisk::~BrokenDisk() {
    const std::lock_guard lock(Host().mutex);
    Host().diskFault.reset();
    Host().changed.notify_all();
}

RecordedJournal::RecordedJournal(State state) {
    const std::lock_guard lock(Host().mutex);
    Host().isJournalRecorded = true;
    Host().isJournalHanging = state == State::kHanging;
    Host().journalCalls.clear();
}

RecordedJournal::~RecordedJournal() {
    Continue();
    const std::lock_guard lock(Host().mutex);
    Host().isJournalRecorded = false;
}

std::vector<std::vector<std::string>> RecordedJournal::Calls() const {
    const std::lock_guard lock(Host().mutex);
    return Host().journalCalls;
}

void RecordedJournal::Continue() {
    const std::lock_guard lock(Host().mutex);
    Host().isJournalHanging = false;
    Host().changed.notify_all();
}

}  // namespace MuxProxy
