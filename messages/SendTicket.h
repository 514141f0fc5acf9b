#pragma once

#include <cstdint>

namespace Brenk::Messages {

// What BrenkMessageBuilder::BeginSend() remembers of the moment before a frame is sent. A value; it belongs to the
// builder that made it and means nothing to another.
class SendTicket {
  public:
    explicit SendTicket(std::uint64_t announcements) : announcements_(announcements) {}

    // How many sequence counters the gateway had announced by then.
    std::uint64_t Announcements() const { return announcements_; }

  private:
    std::uint64_t announcements_;
};

}  // namespace Brenk::Messages
