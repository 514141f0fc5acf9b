#include "proxy/dispatch/GivenUp.h"

#include <utility>

namespace MuxProxy {

void GivenUp::Add(std::string muxId, std::int32_t gateway) {
    gateways_.emplace(muxId, gateway);
    byAge_.push_back(std::move(muxId));
    if (byAge_.size() > kMost) {
        gateways_.erase(byAge_.front());
        byAge_.pop_front();
    }
}

std::optional<std::int32_t> GivenUp::Take(const std::string& muxId) {
    const auto found = gateways_.find(muxId);
    if (found == gateways_.end()) {
        return std::nullopt;
    }
    const std::int32_t gateway = found->second;
    gateways_.erase(found);
    return gateway;
}

}  // namespace MuxProxy
