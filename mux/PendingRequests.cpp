#include "mux/PendingRequests.h"

#include <utility>

namespace Mux {
namespace {

using RecordsByID = std::map<std::string, RecordPointer>;

RecordPointer TakeOut(RecordsByID& records, RecordsByID::iterator position) {
    RecordPointer record = std::move(position->second);
    records.erase(position);
    return record;
}

}  // namespace

PendingRequests::PendingRequests(const char* mutexName) : mutex_(mutexName, true, true) {}

Threading::MutexGuard PendingRequests::NewGuard() const {
    return mutex_.NewGuard();
}

void PendingRequests::DestroyMutex() {
    mutex_.Destroy();
}

bool PendingRequests::Add(RecordPointer& record) {
    return records_.With([&record](RecordsByID& records) {
        const auto [position, inserted] = records.try_emplace(record->message->MessageID());
        if (inserted) {
            position->second = std::move(record);
        }
        return inserted;
    });
}

RecordPointer PendingRequests::TakeBack(const MuxRequestRecord* added, const std::string& messageID) {
    return records_.With([&](RecordsByID& records) -> RecordPointer {
        const auto position = records.find(messageID);
        if (position == records.end() || position->second.get() != added) {
            return nullptr;
        }
        return TakeOut(records, position);
    });
}

RecordPointer PendingRequests::Take(const std::string& messageID) {
    return records_.With([&messageID](RecordsByID& records) -> RecordPointer {
        const auto position = records.find(messageID);
        return position == records.end() ? nullptr : TakeOut(records, position);
    });
}

std::size_t PendingRequests::Count() const {
    return records_.With([](const RecordsByID& records) { return records.size(); });
}

}  // namespace Mux
