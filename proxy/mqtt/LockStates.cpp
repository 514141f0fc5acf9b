#include "proxy/mqtt/LockStates.h"

#include <utility>

#include "proxy/mqtt/MessageMaker.h"
#include "proxy/requests/JsonObject.h"

namespace MuxProxy {

LockStates::LockStates(BrokerPort& broker, Topics topics) : topics_(std::move(topics)), messages_(broker) {}

void LockStates::StatusCame(const MuxClient::LockAddress& lock, const MuxClient::LockStatus& status,
                            std::chrono::system_clock::time_point now) {
    JsonObject payload;
    payload.Number("time", MillisecondsOf(now));
    AddStatus(payload, status);
    messages_.Set(topics_.State(lock), payload.Json());
}

}  // namespace MuxProxy
