#pragma once

#include <atomic>
#include <cstdint>

namespace Diagnostics {

// What a report to the error guard is about.
enum class ErrorKind : int {
    kSocket = 0,      // a socket could not be made, configured or waited for
    kConnection = 1,  // a peer could not be reached, sent to or received from
};

// Process-wide error policy. Report unrecoverable failures here.
//
// A report is counted and, if the limit of its kind is set, calls the first handler. The counters are deliberately not
// compared with the limits: in the daemon the first report ends the process, and its supervisor restarts it. A process
// that never configured the guard (a library test) only counts.
//
// Any thread may report; call Configure at start-up, before other threads exist.
class ErrorGuard {
  public:
    using Handler = void (*)();
    using Observer = void (*)(std::uint32_t secondCounter, int kind);

    struct Configuration {
        std::uint32_t firstLimit = 0;
        std::uint32_t secondLimit = 0;
        Handler firstHandler = nullptr;
        Handler secondHandler = nullptr;  // registered, but no report calls it
        Observer observer = nullptr;
    };

    // The one guard of the process, created on first use and never destroyed.
    static ErrorGuard& Instance();

    void Configure(const Configuration& configuration);
    Configuration CurrentConfiguration() const;

    // Counts one error and calls the first handler if there is one and the limit of the kind is not 0. A handler may
    // end the process, so the caller must leave nothing undone. Then the observer, if set, gets the second counter and
    // the kind.
    void Report(ErrorKind kind);

    std::uint32_t FirstCounter() const;
    std::uint32_t SecondCounter() const;

  private:
    std::atomic<std::uint32_t> firstCounter_{0};
    std::atomic<std::uint32_t> secondCounter_{0};
    std::atomic<std::uint32_t> firstLimit_{0};
    std::atomic<std::uint32_t> secondLimit_{0};
    std::atomic<Handler> firstHandler_{nullptr};
    std::atomic<Handler> secondHandler_{nullptr};
    std::atomic<Observer> observer_{nullptr};
};

}  // namespace Diagnostics
