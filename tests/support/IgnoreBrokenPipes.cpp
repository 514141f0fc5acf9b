#include <csignal>

// Part of every test program. The program's main ignores SIGPIPE before anything else, and its libraries count on it:
// a send on a connection that the peer has left must fail and not kill the process.
namespace {

[[maybe_unused]] const auto previousHandler = std::signal(SIGPIPE, SIG_IGN);

}  // namespace
