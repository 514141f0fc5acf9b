#include "mux/MuxRequestRecord.h"

#include <utility>

namespace Mux {

MuxRequestRecord::MuxRequestRecord(const Brenk::Net::ClientIdentity& client, std::shared_ptr<MuxMessage> requestMessage,
                                   bool isEventRecord)
    : socketFD(client.descriptor),
      connectionSerial(client.serial),
      isEvent(isEventRecord),
      message(std::move(requestMessage)) {}

Brenk::Net::ClientIdentity MuxRequestRecord::Client() const {
    return {socketFD, connectionSerial};
}

}  // namespace Mux
