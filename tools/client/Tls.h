#pragma once

#include "tools/client/Asio.h"

#include <string>

#include "tools/client/Client.h"

namespace MuxClient {

// What the library needs of OpenSSL. Not for users of the library. Any thread may call the functions.

// A context with the files of the settings, which verifies the server. Throws CertificateError with the file and the
// reason if one cannot be used.
asio::ssl::context MakeTlsContext(const TlsSettings& settings);

// Requires that the server's certificate is for this name or address, and names it to the server. Before the handshake.
void ExpectServer(SSL& connection, const std::string& nameOrAddress);

// Why verification refused a certificate of the server, for people; within the callback of the verification. `name` is
// the one that was expected.
std::string WhyRefused(X509_STORE_CTX& verification, const std::string& name);

// Why the server refused this client's certificate, for people; empty if the error says nothing of the kind.
std::string WhyRefusedByServer(const asio::error_code& error, const TlsSettings& settings);

}  // namespace MuxClient
