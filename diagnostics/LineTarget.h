#pragma once

#include <sys/types.h>
#include <cstddef>
#include <string>
#include <string_view>

namespace Diagnostics {

// A destination that may not accept lines: a console, a named pipe, a device. Writing never waits for a reader, and
// never changes how other processes see a descriptor that they share.
//
// For one thread at a time.
class LineTarget {
  public:
    // What is open under `descriptor`, which stays the caller's. A pipe or a terminal is opened once more, without
    // blocking, for this object alone. Where that is not allowed, as for a terminal of another user, it is asked
    // before each write whether it takes a little.
    static LineTarget Console(int descriptor);

    // The pipe or device of this path. `descriptor`, which is taken over, must not block; -1 leaves the opening to the
    // first write. It is opened again after a failure; a pipe without a reader cannot be opened.
    static LineTarget File(std::string path, int descriptor);

    ~LineTarget();
    LineTarget(LineTarget&& other) noexcept;
    LineTarget& operator=(LineTarget&&) = delete;
    LineTarget(const LineTarget&) = delete;
    LineTarget& operator=(const LineTarget&) = delete;

    // Returned when earlier output may never have been read: the next reader starts from scratch.
    static constexpr ssize_t kGone = -1;

    // Returns how many bytes of `text` were taken, from its start: some, all, or 0 when nothing is taken now.
    ssize_t Take(std::string_view text);

    // What to poll before the next try; -1 for nothing.
    int Descriptor() const { return descriptor_; }

    // How many bytes are taken but not yet read, for a comparison only: it falls while a slow reader reads.
    int Backlog() const;

  private:
    enum class Way { kWrite, kSend, kAskAndWrite };

    LineTarget(int descriptor, bool isOwn, std::string path);
    void OpenForItself();
    ssize_t TryToWrite(std::string_view text) const;

    int descriptor_;
    bool isOwn_;
    bool isPipe_ = false;
    Way way_ = Way::kWrite;
    std::string path_;  // empty for what cannot be opened again
};

}  // namespace Diagnostics
