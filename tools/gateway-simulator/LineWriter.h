#pragma once

#include <mutex>
#include <ostream>
#include <string>

namespace Simulator {

// Writes whole lines, each flushed at once, so that lines of several threads never mix.
//
// Any thread may call anything. The stream must remain live as long as the writer.
class LineWriter {
  public:
    explicit LineWriter(std::ostream& stream) : stream_(stream) {}

    // Takes a line without its end.
    void Write(const std::string& line);
    // The same with the local time in front, as in "14:03:07.512 text".
    void WriteTimed(const std::string& line);

  private:
    std::mutex mutex_;
    std::ostream& stream_;
};

}  // namespace Simulator
