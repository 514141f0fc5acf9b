#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "gateway/RequestQueue.h"
#include "threading/Synchronized.h"

namespace Brenk {

// The requests that were sent to one gateway and wait for its answer: for each reference ID the oldest.
//
// A request is never freed while the inner lock is held, because its destructor logs: Remove it only after Release,
// or while the caller holds it too.
//
// Any thread.
class WaitingRequests {
  public:
    using Request = std::shared_ptr<MessageRequestInfo>;
    using Map = std::map<std::uint8_t, Request>;

    // Adds a request under its reference ID. False, with nothing changed, when another one waits under it.
    bool Add(const Request& request);

    // The request waiting under the ID, which stays registered; none if there is none. Null once it is released.
    std::optional<Request> Find(std::uint8_t referenceID) const;

    // Hands out the request under the ID, under which nothing can be added until Remove. Throws std::out_of_range when
    // nothing waits under it.
    Request Release(std::uint8_t referenceID);

    // Forgets what waits under the ID, if anything does.
    void Remove(std::uint8_t referenceID);

    // All that waits now.
    Map Copy() const;

  private:
    Threading::Synchronized<Map> requests_;
};

}  // namespace Brenk
