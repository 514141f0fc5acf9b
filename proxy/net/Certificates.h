#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <optional>
#include <string>

#include "proxy/configuration/Configuration.h"

namespace MuxProxy {

struct TlsRelease {
    void operator()(SSL* connection) const { SSL_free(connection); }
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using TlsPointer = std::unique_ptr<SSL, TlsRelease>;

// The proxy's certificate and what clients' certificates are verified with: signed by the authority, in their time, not
// revoked, and for use by a client. Immutable; changed files make a new object. For the network loop.
class Certificates {
  public:
    // Reads the files. Throws std::runtime_error with a sentence for people when one cannot be used.
    explicit Certificates(const CertificateSettings& settings);

    // The state of a new connection: TLS 1.2 or 1.3, a client's certificate required, no resumption, so that each
    // connection is verified. It keeps what it was made with. Throws std::bad_alloc.
    TlsPointer NewConnection() const;

    // Whether a client that connected with these would be let in now.
    bool Accepts(SSL& connection) const;

  private:
    std::unique_ptr<SSL_CTX, TlsRelease> context_;
};

// The common name in the subject of the peer's certificate; empty unless there is exactly one, of 1 to 64 printable
// bytes.
std::string PeerName(SSL& connection);

// How many whole days the first certificate of the file is still valid, negative if it has ended; nothing if the file
// has none. Any thread.
std::optional<int> DaysLeft(const std::string& file);

}  // namespace MuxProxy
