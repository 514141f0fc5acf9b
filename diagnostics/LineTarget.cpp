#include "diagnostics/LineTarget.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

namespace Diagnostics {
namespace {

constexpr int kOpenFlags = O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// What a pipe or a terminal takes at least when it says that it takes something. A terminal may make two bytes of a
// line break.
constexpr std::size_t kPieceForPipe = PIPE_BUF;
constexpr std::size_t kPieceForTerminal = 128;

mode_t KindOf(int descriptor) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 ? status.st_mode & S_IFMT : 0;
}

bool TakesSomething(int descriptor) {
    pollfd asked = {descriptor, POLLOUT, 0};
    return poll(&asked, 1, 0) > 0;
}

}  // namespace

LineTarget::LineTarget(int descriptor, bool isOwn, std::string path)
    : descriptor_(descriptor), isOwn_(isOwn), isPipe_(KindOf(descriptor) == S_IFIFO), path_(std::move(path)) {}

LineTarget LineTarget::Console(int descriptor) {
    LineTarget console(descriptor, false, {});
    if (KindOf(descriptor) == S_IFSOCK) {
        console.way_ = Way::kSend;
    } else if (console.isPipe_ || isatty(descriptor) != 0) {
        console.OpenForItself();
    }
    return console;
}

LineTarget LineTarget::File(std::string path, int descriptor) {
    return {descriptor, true, std::move(path)};
}

LineTarget::~LineTarget() {
    if (isOwn_ && descriptor_ != -1) {
        close(descriptor_);
    }
}

LineTarget::LineTarget(LineTarget&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      isOwn_(other.isOwn_),
      isPipe_(other.isPipe_),
      way_(other.way_),
      path_(std::move(other.path_)) {}

// Other processes may share the descriptor, a shell for one: it is not for us to make it non-blocking.
void LineTarget::OpenForItself() {
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor_);
    const int own = open(path.c_str(), kOpenFlags);
    if (own == -1) {
        way_ = Way::kAskAndWrite;
        return;
    }
    descriptor_ = own;
    isOwn_ = true;
}

ssize_t LineTarget::Take(std::string_view text) {
    if (descriptor_ == -1) {
        descriptor_ = open(path_.c_str(), kOpenFlags);
        isPipe_ = KindOf(descriptor_) == S_IFIFO;
    }
    if (descriptor_ == -1) {
        return 0;
    }
    ssize_t taken = 0;
    do {
        taken = TryToWrite(text);
    } while (taken == -1 && errno == EINTR);
    if (taken != -1 || errno == EAGAIN || path_.empty()) {
        return std::max<ssize_t>(taken, 0);
    }
    close(std::exchange(descriptor_, -1));
    return kGone;
}

ssize_t LineTarget::TryToWrite(std::string_view text) const {
    if (way_ == Way::kSend) {
        return send(descriptor_, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    if (way_ == Way::kWrite) {
        return write(descriptor_, text.data(), text.size());
    }
    const std::size_t piece = isPipe_ ? kPieceForPipe : kPieceForTerminal;
    return TakesSomething(descriptor_) ? write(descriptor_, text.data(), std::min(text.size(), piece)) : 0;
}

int LineTarget::Backlog() const {
    int bytes = 0;
    return ioctl(descriptor_, isPipe_ ? FIONREAD : TIOCOUTQ, &bytes) == 0 ? bytes : 0;
}

}  // namespace Diagnostics
