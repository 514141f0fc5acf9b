#pragma once

#include <cstddef>
#include <vector>

#include "tests/support/LoopbackSocket.h"

namespace Benchmark {

// So many clients of a server on this machine. Their descriptors have numbers above those that the server gives its
// own, so both ends find room in one process. Throws std::system_error when there is no room.
class LoopbackClients {
  public:
    LoopbackClients(int port, std::size_t count);

    // Each sends these bytes.
    void SendFromEach(const Testing::LoopbackSocket::Bytes& bytes) const;

    // Takes what the first client was sent, until its texts have ended so many times.
    void ReceiveTexts(std::size_t count);

  private:
    std::vector<Testing::LoopbackSocket> clients_;
};

}  // namespace Benchmark
