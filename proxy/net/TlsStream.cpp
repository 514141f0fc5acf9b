#include "proxy/net/TlsStream.h"

#include <openssl/err.h>
#include <openssl/x509_vfy.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace MuxProxy {

TlsStream::TlsStream(TlsPointer connection, int socket) : connection_(std::move(connection)) {
    if (SSL_set_fd(connection_.get(), socket) != 1) {
        throw std::bad_alloc();
    }
}

TlsStream::Result TlsStream::Shake() {
    ERR_clear_error();
    const Result result = ResultOf(SSL_do_handshake(connection_.get()));
    const long verified = SSL_get_verify_result(connection_.get());
    if (result == Result::kFailed && verified != X509_V_OK) {
        fault_ = X509_verify_cert_error_string(verified);
    }
    return result;
}

TlsStream::Result TlsStream::Read(char* buffer, std::size_t size, std::size_t& count) {
    ERR_clear_error();
    count = 0;
    return ResultOf(SSL_read_ex(connection_.get(), buffer, size, &count));
}

TlsStream::Result TlsStream::Write(std::string_view bytes, std::size_t& count) {
    ERR_clear_error();
    count = 0;
    return ResultOf(SSL_write_ex(connection_.get(), bytes.data(), bytes.size(), &count));
}

void TlsStream::SayGoodbye() {
    ERR_clear_error();
    SSL_shutdown(connection_.get());
    ERR_clear_error();
}

TlsStream::Result TlsStream::ResultOf(int returned) {
    const int systemError = errno;
    switch (SSL_get_error(connection_.get(), returned)) {
        case SSL_ERROR_NONE:
            return Result::kDone;
        case SSL_ERROR_WANT_READ:
            return Result::kWantsRead;
        case SSL_ERROR_WANT_WRITE:
            return Result::kWantsWrite;
        case SSL_ERROR_ZERO_RETURN:
            return Result::kClosed;
        case SSL_ERROR_SYSCALL:
            fault_ = std::system_category().message(systemError);
            break;
        default: {
            const char* const reason = ERR_reason_error_string(ERR_peek_error());
            fault_ = reason != nullptr ? reason : "a fault of TLS";
        }
    }
    const bool isEndOfFile = ERR_GET_REASON(ERR_peek_error()) == SSL_R_UNEXPECTED_EOF_WHILE_READING;
    return isEndOfFile ? Result::kClosed : Result::kFailed;
}

}  // namespace MuxProxy
