#include "tools/gateway-simulator/LineOutput.h"

#include <chrono>
#include <ctime>
#include <iomanip>
#include <sstream>

namespace Simulator {
namespace {

std::string TimeNow() {
    using std::chrono::milliseconds;
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto thousandths = std::chrono::duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm local = {};
    localtime_r(&seconds, &local);
    std::ostringstream text;
    text << std::put_time(&local, "%H:%M:%S") << '.' << std::setw(3) << std::setfill('0') << thousandths;
    return text.str();
}

}  // namespace

void LineOutput::WriteTimed(const std::string& line) {
    Write(TimeNow() + " " + line);
}

}  // namespace Simulator
