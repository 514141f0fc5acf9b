#include "proxy/audit/AuditJournal.h"

#include <sys/uio.h>
#include <syslog.h>

#include <optional>
#include <utility>

#include "proxy/audit/AuditSchema.h"
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

std::string TextOf(const std::optional<std::int32_t>& number) {
    return number ? std::to_string(*number) : "";
}

// "request open gateway 1 lock 5 by reception from 192.168.1.7: ack".
std::string JournalMessage(const AuditRow& row) {
    return row.kind + Part("", row.operation) + Part("gateway ", TextOf(row.gateway)) +
           Part("lock ", TextOf(row.lock)) + Part("card ", row.card) + Part("by ", row.client) +
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
        {"GATEWAY", TextOf(row.gateway)},
        {"LOCK", TextOf(row.lock)},
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

AuditJournal::AuditJournal() : thread_(StartSilentThread([this] { Run(); })) {}

AuditJournal::~AuditJournal() {
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void AuditJournal::Add(const AuditRow& row) {
    {
        const std::lock_guard lock(mutex_);
        if (rows_.size() < kMostWaiting) {
            rows_.push_back(row);
        }
    }
    wake_.notify_one();
}

void AuditJournal::Run() {
    std::unique_lock lock(mutex_);
    while (true) {
        wake_.wait(lock, [this] { return isStopping_ || !rows_.empty(); });
        if (rows_.empty()) {
            return;
        }
        const AuditRow row = std::move(rows_.front());
        rows_.pop_front();
        lock.unlock();
        SendToJournal(row);
        lock.lock();
    }
}

}  // namespace MuxProxy
