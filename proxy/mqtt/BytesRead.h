#pragma once

#include <cstdint>

namespace MuxProxy {

// How many bytes of this TCP connection the program has read; 0 if the kernel does not tell. Any thread.
std::uint64_t BytesReadFrom(int socket);

}  // namespace MuxProxy
