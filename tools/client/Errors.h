#pragma once

#include <stdexcept>

namespace MuxClient {

// No connection to the Mux, or it was lost. `what()` is readable by people.
class ConnectionError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// One side refused the other's certificate, or the files for TLS cannot be used: trying again with the same files does
// not help.
class CertificateError : public ConnectionError {
  public:
    using ConnectionError::ConnectionError;
};

// What came from the other side is not what a Mux sends. `what()` is a sentence for people.
class ProtocolError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace MuxClient
