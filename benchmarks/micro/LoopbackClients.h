#pragma once

#include <cstddef>
#include <vector>

#include "benchmarks/micro/ClientPacket.h"

namespace Benchmark {

// A free port of this machine.
int FreePort();

// This many clients of a local server. Their descriptor numbers are above those that the server gives its own, so both
// ends fit into one process. Throws std::system_error without room.
class LoopbackClients {
  public:
    LoopbackClients(int port, std::size_t count);
    ~LoopbackClients();
    LoopbackClients(const LoopbackClients&) = delete;
    LoopbackClients& operator=(const LoopbackClients&) = delete;

    // Each sends these bytes.
    void SendFromEach(const Bytes& bytes) const;

    // Receives the first client's texts until this many have ended.
    void ReceiveTexts(std::size_t count);

  private:
    std::vector<int> descriptors_;
};

}  // namespace Benchmark
