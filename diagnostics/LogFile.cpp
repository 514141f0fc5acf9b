#include "diagnostics/LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>

namespace Diagnostics {
namespace {

constexpr int kFlags = O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr mode_t kMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

// Creating comes second: the kernel refuses it for a pipe of another user in a folder for all.
int Open(const std::string& name) {
    const int descriptor = open(name.c_str(), kFlags);
    return descriptor == -1 && errno == ENOENT ? open(name.c_str(), kFlags | O_CREAT, kMode) : descriptor;
}

bool IsPipe(const std::string& name) {
    struct stat status = {};
    return stat(name.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

// A link that stands for a descriptor, as /dev/stdout, has a target that is no path.
std::string WithoutLink(const std::string& name) {
    struct stat link = {};
    struct stat file = {};
    if (lstat(name.c_str(), &link) != 0 || !S_ISLNK(link.st_mode)) {
        return name;
    }
    const std::unique_ptr<char, decltype(&std::free)> target(realpath(name.c_str(), nullptr), &std::free);
    return target != nullptr && stat(target.get(), &file) == 0 ? target.get() : name;
}

}  // namespace

LogFile OpenLogFile(const std::string& name) {
    const int descriptor = Open(name);
    if (descriptor == -1 && !(errno == ENXIO && IsPipe(name))) {
        return {errno, name, std::nullopt};
    }
    LogFile file = {0, WithoutLink(name), std::nullopt};
    struct stat status = {};
    if (descriptor == -1 || (fstat(descriptor, &status) == 0 && !S_ISREG(status.st_mode))) {
        file.device.emplace(LineTarget::File(file.path, descriptor));
    } else {
        close(descriptor);
    }
    return file;
}

}  // namespace Diagnostics
