#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace MuxClient {

// Cuts what the Mux sends into messages. They come as bare JSON objects, one directly after the other, and TCP may
// deliver half of one or several at once; only the braces tell where one is over.
//
//     cutter.Add(received);
//     while (const auto text = cutter.Next()) { ... }
//
// Every byte is looked at once, however small the pieces are. Not thread-safe: one object for each connection, used by
// one thread at a time.
class TextCutter {
  public:
    // Far more than any message of the Mux, so that a peer which is none cannot fill the memory.
    static constexpr std::size_t kLongestMessage = 1U << 20U;

    // Takes bytes as they were received.
    void Add(std::string_view received) { buffer_.append(received); }

    // Takes the next whole message out and returns it, byte for byte; nothing when it is not there yet. White space
    // between messages is dropped. Throws ProtocolError when something that is no object stands where one should
    // begin, or a message gets longer than kLongestMessage; the stream cannot be used any further then.
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
