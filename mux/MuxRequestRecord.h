#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "mux/messages/MuxMessage.h"
#include "net/ClientConnection.h"

namespace Mux {

// One client request, answer or event on its way through the Mux. Owned by the queue or list that holds it.
struct MuxRequestRecord {
    // A request from `client`, or, with `isEventRecord`, an event for it. The message of an event is shared by the
    // records of all clients.
    MuxRequestRecord(const Brenk::Net::ClientIdentity& client, std::shared_ptr<MuxMessage> requestMessage,
                     bool isEventRecord = false)
        : socketFD(client.descriptor),
          connectionSerial(client.serial),
          isEvent(isEventRecord),
          message(std::move(requestMessage)) {}

    // The connection that the record belongs to: the descriptor alone would be anybody's once the client has gone.
    Brenk::Net::ClientIdentity Client() const { return {socketFD, connectionSerial}; }

    std::int32_t socketFD;
    std::uint64_t connectionSerial;
    std::int32_t sendAttempts = 0;  // failed deliveries so far
    bool isEvent;
    std::shared_ptr<MuxMessage> message;  // the request or the event
    std::unique_ptr<MuxMessage> answer;   // null until there is one
};

using RecordPointer = std::unique_ptr<MuxRequestRecord>;

}  // namespace Mux
