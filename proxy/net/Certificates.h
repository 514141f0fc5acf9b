#pragma once

#include <openssl/ssl.h>

#include <chrono>
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
    // Whether a peer must have a certificate of its own. One that is shown is verified in any case.
    enum class Peers { kWithCertificate, kAll };

    // Reads the files; never asks for a password. Throws std::runtime_error with a sentence for people when one cannot
    // be used: also a revocation list that is over or not signed by the authority, since nobody would be let in.
    explicit Certificates(const CertificateSettings& settings, Peers peers = Peers::kWithCertificate);

    // The state of a new connection: TLS 1.2 or 1.3, no resumption, so that each
    // connection is verified. It keeps what it was made with. Throws std::bad_alloc.
    TlsPointer NewConnection() const;

    // Whether a client that is connected may stay: it would be let in now, but for a revocation list that has ended
    // since it was read. That turns away new clients; to close all others too would serve nobody.
    bool Accepts(SSL& connection) const;

  private:
    std::unique_ptr<SSL_CTX, TlsRelease> context_;
};

// The common name in the subject of the peer's certificate; empty unless there is exactly one, of 1 to 64 printable
// bytes.
std::string PeerName(SSL& connection);

// The SHA-256 of the peer's certificate in DER; empty without one.
std::string PeerFingerprint(SSL& connection);

// How long all certificates of the file are still valid, or all revocation lists; negative if one has ended, nothing if
// the file has none. Any thread.
std::optional<std::chrono::seconds> TimeLeftOfCertificates(const std::string& file);
std::optional<std::chrono::seconds> TimeLeftOfRevocationList(const std::string& file);

}  // namespace MuxProxy
