#include "mux/RecordQueue.h"

#include <utility>

namespace Mux {

using Records = std::deque<RecordPointer>;

RecordQueue::RecordQueue(const char* mutexName) : mutex_(mutexName, true, true) {}

Threading::MutexGuard RecordQueue::NewGuard() const {
    return mutex_.NewGuard();
}

void RecordQueue::DestroyMutex() {
    mutex_.Destroy();
}

std::size_t RecordQueue::Push(RecordPointer record) {
    return records_.With([&record](Records& records) {
        records.push_back(std::move(record));
        return records.size();
    });
}

RecordPointer RecordQueue::Take() {
    return records_.With([](Records& records) -> RecordPointer {
        if (records.empty()) {
            return nullptr;
        }
        RecordPointer record = std::move(records.front());
        records.pop_front();
        return record;
    });
}

std::optional<MuxRequestRecord*> RecordQueue::Head() const {
    return records_.With([](const Records& records) -> std::optional<MuxRequestRecord*> {
        if (records.empty()) {
            return std::nullopt;
        }
        return records.front().get();
    });
}

// The record is freed when the inner lock is free again.
void RecordQueue::DropHead() {
    const RecordPointer dropped = Take();
}

std::size_t RecordQueue::Count() const {
    return records_.With([](const Records& records) { return records.size(); });
}

}  // namespace Mux
