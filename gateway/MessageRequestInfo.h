#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>

#include "messages/BrenkMessage.h"

namespace Brenk {

// One request on its way to a gateway: queued, then waiting for the gateway's answer.
//
// Filled before it is shared. The send thread sets the send time before it puts the request into the waiting map;
// after that nobody writes to it. Shared by the map and by the thread that is still logging its sending.
class MessageRequestInfo {
  public:
    MessageRequestInfo() = default;

    // Frees the message if there is one; the context is the caller's.
    ~MessageRequestInfo();

    MessageRequestInfo(const MessageRequestInfo&) = delete;
    MessageRequestInfo& operator=(const MessageRequestInfo&) = delete;

    // Whether the gateway object made this request itself to learn the gateway's sequence counter.
    bool IsSequenceRefresh() const;

    // Whether a request with this ID is such a refresh. A client whose MessageID holds the same mark is taken for one.
    static bool IsSequenceRefresh(const std::string& requestID);

    // What the ID of a sequence refresh begins with; a time stamp follows.
    static constexpr const char* kSequenceRefreshMark = "requestNewSEQID-";

    std::time_t enqueueTime = 0;
    std::time_t sendTime = 0;
    std::uint8_t referenceID = 0;  // key in the waiting map
    std::string id;                // the client's MessageID, or that of a sequence refresh
    std::unique_ptr<Messages::BrenkMessage> message;
    void* context = nullptr;  // the caller's, handed back with the answer
};

}  // namespace Brenk
