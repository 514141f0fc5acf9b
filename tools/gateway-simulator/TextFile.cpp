#include "tools/gateway-simulator/TextFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <string_view>
#include <system_error>

#include "diagnostics/TextReading.h"
#include "tools/gateway-simulator/CommandError.h"

namespace Simulator {
namespace {

constexpr mode_t kFileMode = 0666;

[[noreturn]] void ThrowSystemError(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

class NewFile {
  public:
    explicit NewFile(std::string path)
        : path_(std::move(path)),
          descriptor_(open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode)) {
        if (descriptor_ < 0) {
            ThrowSystemError(path_);
        }
    }

    // Leaves nothing behind unless it has been renamed.
    ~NewFile() {
        close(descriptor_);
        unlink(path_.c_str());
    }

    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void Write(std::string_view text) const {
        while (!text.empty()) {
            const ssize_t count = write(descriptor_, text.data(), text.size());
            if (count < 0 && errno != EINTR) {
                ThrowSystemError(path_);
            }
            text.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
        }
        if (fsync(descriptor_) != 0) {
            ThrowSystemError(path_);
        }
    }

    void RenameTo(const std::string& path) const {
        if (std::rename(path_.c_str(), path.c_str()) != 0) {
            ThrowSystemError(path);
        }
    }

  private:
    std::string path_;
    int descriptor_;
};

}  // namespace

std::string ReadTextFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text;
    const Diagnostics::TextReading reading = Diagnostics::ReadText(file, text);
    if (reading != Diagnostics::TextReading::kWhole) {
        throw CommandError(path + ": " + FaultText(reading));
    }
    return text;
}

void ReplaceTextFile(const std::string& path, const std::string& text) {
    const NewFile file(path + ".new");
    file.Write(text);
    file.RenameTo(path);
}

}  // namespace Simulator
