#include "tests/support/RecordedLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace Testing {
namespace {

constexpr int kMode = 0644;

// Looked up once: tests change variables while other threads log.
const char* Folder() {
    static const char* const folder = std::getenv("MUX_LOG_RECORD");  // NOLINT(concurrency-mt-unsafe)
    return folder;
}

const char* FileOf(LogOrigin origin) {
    return origin == LogOrigin::kProcess ? "/process.log" : "/unit.log";
}

}  // namespace

bool IsLogRecorded() {
    return Folder() != nullptr;
}

void RecordLog(LogOrigin origin, const std::string& lines) {
    if (!IsLogRecorded()) {
        return;
    }
    // Several tests write at the same time: one write each, at the end of the file.
    const std::string path = std::string(Folder()) + FileOf(origin);
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kMode);
    if (file != -1) {
        static_cast<void>(!write(file, lines.data(), lines.size()));
        close(file);
    }
}

}  // namespace Testing
