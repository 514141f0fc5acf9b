#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace MuxClient {

// Cuts what clients send into packets, for a program that stands where the Mux does. The layout is in Packet.h.
//
//     cutter.Add(received);
//     while (const auto text = cutter.Next()) { ... }
//
// Stricter than the Mux, which skips a packet without "MUXM" and understands nothing more after a length of 0. Not
// thread-safe: one object per connection, used by one thread at a time.
class PacketCutter {
  public:
    // Takes bytes as they were received. At most one packet, of 65535 bytes, stays behind when Next() has returned
    // nothing.
    void Add(std::string_view received) { buffer_.append(received); }

    // Removes the next whole packet and returns its text, which may be empty and hold any bytes; nothing while the
    // packet is incomplete. Throws ProtocolError on a length below 6 or other characters than "MUXM"; the stream is
    // then unusable.
    std::optional<std::string> Next();

    // Whether a packet has begun and is incomplete.
    bool IsWithinPacket() const { return !buffer_.empty(); }

  private:
    std::size_t Length() const;

    std::string buffer_;
};

}  // namespace MuxClient
