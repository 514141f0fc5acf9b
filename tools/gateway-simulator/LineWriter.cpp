#include "tools/gateway-simulator/LineWriter.h"

namespace Simulator {

void LineWriter::Write(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    stream_ << text << '\n' << std::flush;
}

}  // namespace Simulator
