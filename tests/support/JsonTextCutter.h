#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Testing {

// Cuts a stream of JSON objects that follow one another with nothing between them.
class JsonTextCutter {
  public:
    void Add(std::string_view received) { buffer_.append(received); }

    // The next whole object, byte for byte; nothing when it is not there yet. Bytes that begin no object are handed
    // out as they are, all at once, so that a test sees them.
    std::optional<std::string> Next();

  private:
    std::string buffer_;
};

}  // namespace Testing
