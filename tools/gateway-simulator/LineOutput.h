#pragma once

#include <string>

namespace Simulator {

// Where lines for a person go.
class LineOutput {
  public:
    virtual ~LineOutput() = default;

    // Takes a line without its end, or several with ends between them, and keeps them together.
    virtual void Write(const std::string& text) = 0;
    // The same with the local time in front, as in "14:03:07.512 text".
    void WriteTimed(const std::string& line);
};

}  // namespace Simulator
