#pragma once

#include <functional>
#include <thread>

namespace MuxProxy {

// Starts a thread that handles no signal, so that the program's handlers run on its other threads, and a file that
// reaches its size limit (SIGXFSZ) is an error instead of the end. Throws std::system_error.
std::thread StartSilentThread(std::function<void()> body);

}  // namespace MuxProxy
