#include "mux/Footprint.h"

#include <malloc.h>
#include <pthread.h>

#include <cstddef>

namespace Mux {
namespace {

// The deepest that a thread goes is some 10 KiB, a name look-up or a crash report some 64. The usual 8 MiB are only
// addresses, but the threads of two hundred gateways would use up all that a 32-bit process has. Less than this leaves
// no room for the thread-local data of ThreadSanitizer.
constexpr std::size_t kStackBytes = 1024UL * 1024;

// Each thread allocates so rarely that it waits for no other, and an arena of its own would keep at least 8 KiB.
constexpr int kArenas = 1;

}  // namespace

void KeepFootprintSmall() {
    mallopt(M_ARENA_MAX, kArenas);  // NOLINT(concurrency-mt-unsafe): there is no other thread yet
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kStackBytes);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);
}

}  // namespace Mux
