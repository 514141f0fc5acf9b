#include "proxy/audit/AuditJournal.h"

#include <sys/uio.h>
#include <syslog.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "proxy/audit/AuditSchema.h"
#include "proxy/audit/AuditText.h"
#include "proxy/audit/SilentThread.h"

// Without it the fields would name the line of this file instead of the program's message.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

namespace MuxProxy {
namespace {

// "name value" behind a blank, unless there is no value.
std::string Part(const char* name, const std::string& value) {
    return value.empty() ? "" : std::string(" ") + name + value;
}

// "request open gateway 1 lock 5 by reception from 192.168.1.7: ack".
std::string JournalMessage(const AuditRow& row) {
    return row.kind + Part("", row.operation) + Part("gateway ", NumberText(row.gateway)) +
           Part("lock ", NumberText(row.lock)) + Part("card ", row.card) + Part("by ", row.client) +
           Part("from ", row.address) + (row.result.empty() ? "" : ": " + row.result) +
           (row.remark.empty() ? "" : " (" + row.remark + ")");
}

// What went wrong is worth a look.
int JournalPriority(const AuditRow& row) {
    return row.errorCode != 0 || row.operation == kFailedOperation ? LOG_WARNING : LOG_INFO;
}

void SendToJournal(const AuditRow& row) {
    std::vector<std::string> fields = JournalFields(row);
    std::vector<iovec> parts;
    parts.reserve(fields.size());
    for (std::string& field : fields) {
        parts.push_back({field.data(), field.size()});
    }
    // Nothing can be done about an error, and the file has the row.
    sd_journal_sendv(parts.data(), static_cast<int>(parts.size()));
}

}  // namespace

std::vector<std::string> JournalFields(const AuditRow& row) {
    std::vector<std::string> fields = {"MESSAGE=" + JournalMessage(row),
                                       "PRIORITY=" + std::to_string(JournalPriority(row)),
                                       "SYSLOG_IDENTIFIER=mux-proxy"};
    const bool isRequest = row.kind == "request";
    const std::pair<const char*, std::string> values[] = {
        {"KIND", row.kind},
        {"CLIENT", row.client},
        {"ADDRESS", row.address},
        {"OPERATION", row.operation},
        {"GATEWAY", NumberText(row.gateway)},
        {"LOCK", NumberText(row.lock)},
        {"CARD", row.card},
        {"RESULT", row.result},
        {"ERROR_CODE", isRequest || row.errorCode != 0 ? std::to_string(row.errorCode) : ""},
        {"MILLISECONDS", isRequest ? std::to_string(row.elapsed.count()) : ""},
        {"REMARK", row.remark},
    };
    for (const auto& [name, value] : values) {
        if (!value.empty()) {
            fields.push_back(std::string("MUX_PROXY_") + name + "=" + value);
        }
    }
    return fields;
}

// Outlives its owner when the journal takes nothing.
struct AuditJournal::Queue {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<AuditRow> rows;
    bool isStopping = false;
    bool hasEnded = false;

    void Run() {
        std::unique_lock lock(mutex);
        while (true) {
            changed.wait(lock, [this] { return isStopping || !rows.empty(); });
            if (rows.empty()) {
                hasEnded = true;
                changed.notify_all();
                return;
            }
            const AuditRow row = std::move(rows.front());
            rows.pop_front();
            lock.unlock();
            SendToJournal(row);
            lock.lock();
        }
    }
};

AuditJournal::AuditJournal()
    : queue_(std::make_shared<Queue>()), thread_(StartSilentThread([queue = queue_] { queue->Run(); })) {}

AuditJournal::~AuditJournal() {
    std::unique_lock lock(queue_->mutex);
    queue_->isStopping = true;
    queue_->changed.notify_all();
    const bool hasEnded = queue_->changed.wait_for(lock, kLongestEnd, [this] { return queue_->hasEnded; });
    lock.unlock();
    if (hasEnded) {
        thread_.join();
    } else {
        thread_.detach();
    }
}

void AuditJournal::Add(const AuditRow& row) {
    const std::lock_guard lock(queue_->mutex);
    if (queue_->rows.size() < kMostWaiting) {
        queue_->rows.push_back(row);
        queue_->changed.notify_all();
    }
}

}  // namespace MuxProxy
