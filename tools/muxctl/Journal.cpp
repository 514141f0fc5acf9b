#include "tools/muxctl/Journal.h"

#include <sys/stat.h>

#include <cstdlib>
#include <string>

namespace Muxctl {

// systemd names device and inode of the stream that it has connected; a redirected descriptor has others.
bool IsJournal(int descriptor) {
    const char* const stream = std::getenv("JOURNAL_STREAM");  // NOLINT(concurrency-mt-unsafe)
    struct stat status = {};
    return stream != nullptr && fstat(descriptor, &status) == 0 &&
           stream == std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

}  // namespace Muxctl
