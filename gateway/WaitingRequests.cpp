#include "gateway/WaitingRequests.h"

#include <utility>

namespace Brenk {

bool WaitingRequests::Add(const Request& request) {
    return requests_.With([&](Map& requests) { return requests.emplace(request->referenceID, request).second; });
}

std::optional<WaitingRequests::Request> WaitingRequests::Find(std::uint8_t referenceID) const {
    return requests_.With([referenceID](const Map& requests) -> std::optional<Request> {
        const auto found = requests.find(referenceID);
        return found == requests.end() ? std::nullopt : std::make_optional(found->second);
    });
}

WaitingRequests::Request WaitingRequests::Release(std::uint8_t referenceID) {
    return requests_.With([referenceID](Map& requests) { return std::move(requests.at(referenceID)); });
}

void WaitingRequests::Remove(std::uint8_t referenceID) {
    requests_.With([referenceID](Map& requests) { requests.erase(referenceID); });
}

WaitingRequests::Map WaitingRequests::Copy() const {
    return requests_.With([](const Map& requests) { return requests; });
}

}  // namespace Brenk
