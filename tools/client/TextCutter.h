#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace MuxClient {

// Cuts the stream from the Mux into messages. They are bare JSON objects directly behind one another, and TCP may
// deliver parts of one or several at once; only braces delimit them.
//
//     cutter.Add(received);
//     while (const auto text = cutter.Next()) { ... }
//
// Each byte is examined once, however small the pieces. Not thread-safe: one object per connection, used by one thread
// at a time.
class TextCutter {
  public:
    // Far more than any message of the Mux; keeps other peers from filling the memory.
    static constexpr std::size_t kLongestMessage = 1U << 20U;

    // Takes bytes as they were received.
    void Add(std::string_view received) { buffer_.append(received); }

    // Removes and returns the next whole message, byte for byte; empty if it is incomplete. White space between
    // messages is dropped. Throws ProtocolError if something other than an object begins, or if a message exceeds
    // kLongestMessage; the stream is then unusable.
    std::optional<std::string> Next();

  private:
    void DropWhiteSpace();
    // Whether the object ends with this character.
    bool EndsWith(char character);
    void FollowString(char character);

    std::string buffer_;
    // How far the object at the front of the buffer was followed, and what was found there.
    std::size_t position_ = 0;
    std::size_t depth_ = 0;
    bool inString_ = false;
    bool escaped_ = false;
};

}  // namespace MuxClient
