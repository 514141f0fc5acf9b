#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>

namespace MuxProxy {

// The identifiers of requests that were given up, to recognise an answer that comes for one all the same: the Mux never
// gives up, and 63 frames later it books another request's result there. The oldest are forgotten.
//
// Not thread-safe.
class GivenUp {
  public:
    static constexpr std::size_t kMost = 4096;

    void Add(std::string muxId, std::int32_t gateway);
    // The gateway of the request, which is then forgotten; nothing if it is not known.
    std::optional<std::int32_t> Take(const std::string& muxId);

  private:
    std::unordered_map<std::string, std::int32_t> gateways_;
    std::deque<std::string> byAge_;
};

}  // namespace MuxProxy
