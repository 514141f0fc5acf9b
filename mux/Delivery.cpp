#include "mux/Delivery.h"

#include <chrono>
#include <cstddef>
#include <new>
#include <optional>
#include <string>

#include "diagnostics/Log.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "threading/StopFlag.h"

namespace Mux {
namespace {

constexpr std::size_t kChunkBytes = 65536;
constexpr std::chrono::milliseconds kPauseAfterNullRecord{10};
constexpr int kMaximumSendAttempts = 15;
constexpr const char* kAnswerNotSent = "Cannot send message to socket with FD ";
constexpr const char* kEventNotSent = "Cannot send event to socket with FD ";

}  // namespace

Delivery::Delivery(RecordQueue& answers, const Clients& clients)
    : answers_(answers),
      clients_(clients),
      // Without initial values: pages that no answer has needed yet stay untouched.
      chunk_(new unsigned char[kChunkBytes]),
      allocator_(chunk_.get(), kChunkBytes, kChunkBytes) {}

bool Delivery::DeliverHead() {
    const std::optional<MuxRequestRecord*> head = answers_.Head();
    if (!head) {
        return false;
    }
    if (*head == nullptr) {
        MUX_LOG(plog::error) << "Popped message answer is NULL!!!";
        answers_.DropHead();
        Threading::SleepFor(kPauseAfterNullRecord);
        return false;
    }
    return Deliver(**head);
}

// What fails for want of memory costs the record an attempt, so that it does not hold up those behind it for ever.
bool Delivery::Deliver(MuxRequestRecord& record) {
    try {
        return record.isEvent ? DeliverEvent(record) : DeliverAnswer(record);
    } catch (const std::bad_alloc&) {
        CountFailure(record, record.isEvent ? kEventNotSent : kAnswerNotSent);
        throw;
    }
}

bool Delivery::DeliverAnswer(MuxRequestRecord& record) {
    if (record.answer == nullptr) {
        MUX_LOG(plog::error) << "AnswerMessage part in the answer message record structure is missing.";
        answers_.DropHead();
        return false;
    }
    const std::string& id = record.answer->MessageID();
    MUX_LOG(plog::verbose) << "Message " << id << " popped.";
    const auto bytes = BytesOf(*record.answer);
    if (bytes == nullptr) {
        return false;
    }
    MUX_LOG(plog::info) << "Sending message answer with ID " << id << " to socket with FD " << record.socketFD;
    MUX_LOG(plog::verbose) << "Message payload: " << std::string(bytes->begin(), bytes->end());
    if (!clients_.Send(record.Client(), *bytes)) {
        CountFailure(record, kAnswerNotSent);
        return false;
    }
    answers_.DropHead();
    MUX_LOG(plog::verbose) << "Message sent. Deallocating messages memory.";
    return true;
}

bool Delivery::DeliverEvent(MuxRequestRecord& record) {
    if (record.message == nullptr) {
        MUX_LOG(plog::error) << "Message part in the event record structure is missing.";
        answers_.DropHead();
        return false;
    }
    MUX_LOG(plog::verbose) << "Event message " << record.message->MessageID() << " popped.";
    const auto bytes = BytesOf(*record.message);
    if (bytes == nullptr) {
        return false;
    }
    MUX_LOG(plog::debug) << "Sending event to socket with FD " << record.socketFD;
    if (!clients_.Send(record.Client(), *bytes)) {
        CountFailure(record, kEventNotSent);
        return false;
    }
    answers_.DropHead();
    MUX_LOG(plog::debug) << "Event sent. Deallocating messages memory.";
    return true;
}

std::unique_ptr<std::vector<unsigned char>> Delivery::BytesOf(MuxMessage& message) {
    // Something is left there when memory ran out.
    allocator_.Clear();
    auto bytes = MuxMessageBuilder().MessageToBytes(message, allocator_);
    allocator_.Clear();
    return bytes;
}

void Delivery::CountFailure(MuxRequestRecord& record, const char* text) {
    ++record.sendAttempts;
    if (record.sendAttempts < kMaximumSendAttempts) {
        return;
    }
    MUX_LOG(plog::error) << text << record.socketFD << ". Tried " << record.sendAttempts
                         << ", I will delete the answer from queue.";
    answers_.DropHead();
}

}  // namespace Mux
