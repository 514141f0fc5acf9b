#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "proxy/net/Certificates.h"

namespace MuxProxy {

// The encrypted side of a connected socket that never blocks: each call does what is possible now. OpenSSL reads and
// writes the socket itself, so an idle connection needs no buffers of ours.
//
// For the network loop. The socket outlives it.
class TlsStream {
  public:
    // What the caller waits for before it tries again, or that it is over.
    enum class Result { kDone, kWantsRead, kWantsWrite, kClosed, kFailed };

    TlsStream(TlsPointer connection, int socket);

    Result Shake();
    // Puts up to `size` bytes into `buffer` and says how many in `count`, 0 unless the result is kDone.
    Result Read(char* buffer, std::size_t size, std::size_t& count);
    // Writes some of the bytes, at least one if the result is kDone. After kWantsRead or kWantsWrite the next call must
    // begin with the same bytes; others may follow them.
    Result Write(std::string_view bytes, std::size_t& count);
    // Tells the peer that nothing more comes, if that is possible now.
    void SayGoodbye();

    SSL& Connection() { return *connection_; }
    // Why the last call failed, for people.
    const std::string& Fault() const { return fault_; }

  private:
    Result ResultOf(int returned);

    TlsPointer connection_;
    std::string fault_;
};

}  // namespace MuxProxy
