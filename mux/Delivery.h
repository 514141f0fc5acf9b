#pragma once

#include <memory>
#include <vector>

#include "json/RapidJson.h"
#include "mux/Clients.h"
#include "mux/RecordQueue.h"

namespace Mux {

// Sends the answers and events of a queue to the clients that they are for, as JSON text.
//
// The head leaves the queue when it was sent, when sending it has failed 15 times, or when it holds nothing to send.
// The memory for the JSON is empty between two answers. Main thread; `answers` and `clients` must outlive the object.
class Delivery {
  public:
    Delivery(RecordQueue& answers, const Clients& clients);

    // Tries to send the head; true if it was sent. Logs under the caller's operation. Pauses for 10 ms after a null
    // head. A failure for lack of memory counts as an attempt and is rethrown.
    bool DeliverHead();

  private:
    bool Deliver(MuxRequestRecord& record);
    bool DeliverAnswer(MuxRequestRecord& record);
    bool DeliverEvent(MuxRequestRecord& record);
    std::unique_ptr<std::vector<unsigned char>> BytesOf(MuxMessage& message);
    void CountFailure(MuxRequestRecord& record, const char* text);

    RecordQueue& answers_;
    const Clients& clients_;

    // The first chunk stays, so that an answer of the usual size needs none of the memory that others may have used up.
    std::unique_ptr<unsigned char[]> chunk_;
    rapidjson::MemoryPoolAllocator<> allocator_;
};

}  // namespace Mux
