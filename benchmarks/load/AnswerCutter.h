#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace Load {

// Cuts what a client receives into its JSON objects, which follow one another with nothing between them.
//
// Not thread-safe: one for each connection. Looks at every character once, however the stream is torn.
class AnswerCutter {
  public:
    using Deliver = std::function<void(const std::string& text)>;

    // Takes what was received and hands every object that is now whole to `deliver`, in order. Throws
    // std::runtime_error when something stands between two objects.
    void Feed(std::string_view received, const Deliver& deliver);

  private:
    bool EndsWith(char character);
    void FollowString(char character);

    std::string text_;
    int depth_ = 0;
    bool inString_ = false;
    bool escaped_ = false;
};

}  // namespace Load
