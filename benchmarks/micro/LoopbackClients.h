#pragma once

#include <cstddef>
#include <vector>

#include "tests/support/LoopbackSocket.h"

namespace Benchmark {

// This many clients of a local server. Their descriptor numbers are above those that the server gives its own, so both
// ends fit into one process. Throws std::system_error without room.
class LoopbackClients {
  public:
    LoopbackClients(int port, std::size_t count);

    // Each sends these bytes.
    void SendFromEach(const Testing::LoopbackSocket::Bytes& bytes) const;

    // Receives the first client's texts until this many have ended.
    void ReceiveTexts(std::size_t count);

  private:
    std::vector<Testing::LoopbackSocket> clients_;
};

}  // namespace Benchmark
