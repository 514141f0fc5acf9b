#include "proxy/audit/SilentThread.h"

#include <csignal>
#include <utility>

namespace MuxProxy {
namespace {

// Blocks all signals of the calling thread while it lives. New threads start with the same.
class NoSignals {
  public:
    NoSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    NoSignals(const NoSignals&) = delete;
    NoSignals& operator=(const NoSignals&) = delete;

  private:
    sigset_t before_{};
};

}  // namespace

std::thread StartSilentThread(std::function<void()> body) {
    const NoSignals noSignals;
    return std::thread(std::move(body));
}

}  // namespace MuxProxy
