#include "proxy/net/Certificates.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <new>
#include <stdexcept>

namespace MuxProxy {
namespace {

template <auto Free>
struct Releaser {
    template <typename Object>
    void operator()(Object* object) const {
        Free(object);
    }
};

using VerificationPointer = std::unique_ptr<X509_STORE_CTX, Releaser<X509_STORE_CTX_free>>;
using CertificatePointer = std::unique_ptr<X509, Releaser<X509_free>>;

// The newest fault of the library in its own words, and no fault left behind.
std::string FaultText() {
    const unsigned long code = ERR_peek_last_error();
    const char* const reason = ERR_reason_error_string(code);
    ERR_clear_error();
    return reason != nullptr ? reason : "unknown fault " + std::to_string(code);
}

void Check(int result, const char* what, const std::string& file) {
    if (result != 1) {
        throw std::runtime_error(std::string(what) + " " + file + " cannot be used: " + FaultText());
    }
}

void LoadRevocationList(SSL_CTX* context, const std::string& file) {
    X509_STORE* const store = SSL_CTX_get_cert_store(context);
    X509_LOOKUP* const lookup = X509_STORE_add_lookup(store, X509_LOOKUP_file());
    const bool isLoaded = lookup != nullptr && X509_load_crl_file(lookup, file.c_str(), X509_FILETYPE_PEM) > 0;
    Check(isLoaded ? 1 : 0, "the revocation list", file);
    X509_STORE_set_flags(store, X509_V_FLAG_CRL_CHECK);
}

bool IsPrintable(unsigned char byte) {
    return byte >= ' ' && byte != 0x7F;
}

}  // namespace

Certificates::Certificates(const CertificateSettings& settings) : context_(SSL_CTX_new(TLS_server_method())) {
    SSL_CTX* const context = context_.get();
    if (context == nullptr) {
        throw std::runtime_error("TLS cannot be used: " + FaultText());
    }
    SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
    SSL_CTX_set_options(context, SSL_OP_NO_TICKET | SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_num_tickets(context, 0);
    // A call takes one record, so that a client which sends others than data comes back for each.
    SSL_CTX_clear_mode(context, SSL_MODE_AUTO_RETRY);
    // Hundreds of connections wait for events and need no buffers meanwhile.
    SSL_CTX_set_mode(context,
                     SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    Check(SSL_CTX_use_certificate_chain_file(context, settings.certificate.c_str()), "the certificate",
          settings.certificate);
    Check(SSL_CTX_use_PrivateKey_file(context, settings.key.c_str(), SSL_FILETYPE_PEM), "the key", settings.key);
    Check(SSL_CTX_load_verify_file(context, settings.authority.c_str()), "the authority", settings.authority);
    if (!settings.revocationList.empty()) {
        LoadRevocationList(context, settings.revocationList);
    }
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    SSL_CTX_set_purpose(context, X509_PURPOSE_SSL_CLIENT);
}

TlsPointer Certificates::NewConnection() const {
    TlsPointer connection(SSL_new(context_.get()));
    if (connection == nullptr) {
        throw std::bad_alloc();
    }
    SSL_set_accept_state(connection.get());
    return connection;
}

bool Certificates::Accepts(SSL& connection) const {
    const CertificatePointer certificate(SSL_get1_peer_certificate(&connection));
    const VerificationPointer verification(X509_STORE_CTX_new());
    return certificate != nullptr && verification != nullptr &&
           X509_STORE_CTX_init(verification.get(), SSL_CTX_get_cert_store(context_.get()), certificate.get(),
                               SSL_get_peer_cert_chain(&connection)) == 1 &&
           X509_STORE_CTX_set_purpose(verification.get(), X509_PURPOSE_SSL_CLIENT) == 1 &&
           X509_verify_cert(verification.get()) == 1;
}

std::string PeerName(SSL& connection) {
    const CertificatePointer certificate(SSL_get1_peer_certificate(&connection));
    X509_NAME* const subject = certificate != nullptr ? X509_get_subject_name(certificate.get()) : nullptr;
    const int first = subject != nullptr ? X509_NAME_get_index_by_NID(subject, NID_commonName, -1) : -1;
    if (first < 0 || X509_NAME_get_index_by_NID(subject, NID_commonName, first) >= 0) {
        return "";
    }
    unsigned char* text = nullptr;
    const int length = ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, first)));
    if (length <= 0) {
        return "";
    }
    const std::string name(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
    OPENSSL_free(text);
    return name.size() <= 64 && std::all_of(name.begin(), name.end(), IsPrintable) ? name : "";
}

std::optional<int> DaysLeft(const std::string& file) {
    const std::unique_ptr<BIO, Releaser<BIO_free>> source(BIO_new_file(file.c_str(), "r"));
    const CertificatePointer certificate(source != nullptr ? PEM_read_bio_X509(source.get(), nullptr, nullptr, nullptr)
                                                           : nullptr);
    ERR_clear_error();
    int days = 0;
    int seconds = 0;
    const bool isKnown =
        certificate != nullptr && ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(certificate.get())) == 1;
    return isKnown ? std::make_optional(days) : std::nullopt;
}

}  // namespace MuxProxy
