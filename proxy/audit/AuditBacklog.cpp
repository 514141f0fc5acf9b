#include "proxy/audit/AuditBacklog.h"

#include <algorithm>
#include <utility>

namespace MuxProxy {

std::shared_ptr<const AuditRecord> AuditBacklog::Add(RequestNumber number, AuditRow row) {
    const auto record = std::make_shared<AuditRecord>();
    record->row = std::move(row);
    record->id = NextId();
    record->isDropped = waiting_.size() >= most_;
    if (number != 0) {
        underWay_[number] = record;
    }
    Wait(record);
    return record;
}

std::shared_ptr<const AuditRecord> AuditBacklog::Finish(RequestNumber number, const AuditRow& end) {
    const auto found = underWay_.find(number);
    if (found == underWay_.end()) {
        return nullptr;
    }
    const std::shared_ptr<AuditRecord> record = std::move(found->second);
    underWay_.erase(found);
    record->row.result = end.result;
    record->row.errorCode = end.errorCode;
    record->row.elapsed = end.elapsed;
    if (!end.remark.empty()) {
        record->row.remark = end.remark;
    }
    Wait(record);
    return record;
}

void AuditBacklog::Wait(const std::shared_ptr<AuditRecord>& record) {
    if (!record->isWaiting && !record->isDropped) {
        record->isWaiting = true;
        waiting_.push_back(record);
    }
}

AuditRecords AuditBacklog::Resuming(AuditRow row) {
    if (!resumingId_) {
        resumingId_ = NextId();
    }
    const auto record = std::make_shared<AuditRecord>();
    record->row = std::move(row);
    record->id = *resumingId_;
    AuditRecords records = waiting_;
    records.push_back(record);
    return records;
}

void AuditBacklog::Written() {
    resumingId_.reset();
    for (const auto& record : waiting_) {
        record->isWaiting = false;
    }
    waiting_.clear();
}

void AuditBacklog::ContinueBehind(std::int64_t lastId, bool isOtherFile) {
    lastId_ = std::max(lastId_, lastId);
    if (isOtherFile || lastId < resumingId_) {
        resumingId_.reset();
    }
    if (!isOtherFile) {
        return;
    }
    for (const auto& record : waiting_) {
        record->id = NextId();
    }
    for (const auto& [number, record] : underWay_) {
        record->id = record->isWaiting ? record->id : NextId();
    }
}

}  // namespace MuxProxy
