#include "proxy/net/Certificates.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <new>
#include <stdexcept>
#include <system_error>

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

using Seconds = std::chrono::seconds;
using FilePointer = std::unique_ptr<BIO, Releaser<BIO_free>>;
using ListPointer = std::unique_ptr<X509_CRL, Releaser<X509_CRL_free>>;

constexpr const char* kRenewal =
    "make a new one with \"mux-proxy-certificates DIR renew\" and copy DIR/revoked.crl to this place";

bool IsWithoutPem(unsigned long code) {
    const int reason = ERR_GET_REASON(code);
    return reason == ERR_R_UNSUPPORTED || (ERR_GET_LIB(code) == ERR_LIB_PEM && reason == PEM_R_NO_START_LINE);
}

// The first fault of the library, which the others follow from; no fault is left behind.
std::string FaultText() {
    const unsigned long code = ERR_peek_error();
    const char* const reason = ERR_reason_error_string(code);
    ERR_clear_error();
    return ERR_SYSTEM_ERROR(code) ? std::generic_category().message(ERR_GET_REASON(code))
           : IsWithoutPem(code)   ? "there is none in it, in PEM"
           : reason != nullptr    ? reason
                                  : "unknown fault " + std::to_string(code);
}

void Check(int result, const char* what, const std::string& file) {
    if (result != 1) {
        throw std::runtime_error(std::string(what) + " " + file + " cannot be used: " + FaultText());
    }
}

// The default asks at the terminal, with the loop standing meanwhile.
int NoPassword(char* /*password*/, int /*size*/, int /*isWriting*/, void* wasAsked) {
    *static_cast<bool*>(wasAsked) = true;
    return -1;
}

void LoadKey(SSL_CTX* context, const std::string& file) {
    bool wasAsked = false;
    SSL_CTX_set_default_passwd_cb(context, &NoPassword);
    SSL_CTX_set_default_passwd_cb_userdata(context, &wasAsked);
    const int result = SSL_CTX_use_PrivateKey_file(context, file.c_str(), SSL_FILETYPE_PEM);
    SSL_CTX_set_default_passwd_cb_userdata(context, nullptr);
    if (wasAsked) {
        ERR_clear_error();
        throw std::runtime_error("the key " + file + " cannot be used: it has a password");
    }
    Check(result, "the key", file);
}

bool IsOver(const X509_CRL& list) {
    const ASN1_TIME* const end = X509_CRL_get0_nextUpdate(&list);
    return end != nullptr && X509_cmp_current_time(end) < 0;
}

bool HasBegun(const X509_CRL& list) {
    return X509_cmp_current_time(X509_CRL_get0_lastUpdate(&list)) < 0;
}

// By one of the authorities that a store holds.
bool IsSigned(X509_CRL& list, const STACK_OF(X509_OBJECT) & objects) {
    for (int i = 0; i < sk_X509_OBJECT_num(&objects); ++i) {
        const X509* const authority = X509_OBJECT_get0_X509(sk_X509_OBJECT_value(&objects, i));
        if (authority != nullptr && X509_CRL_verify(&list, X509_get0_pubkey(authority)) == 1) {
            return true;
        }
    }
    ERR_clear_error();
    return false;
}

// Verification with any other list would let nobody in.
void CheckRevocationLists(const X509_STORE& store, const std::string& file) {
    const STACK_OF(X509_OBJECT)* const objects = X509_STORE_get0_objects(&store);
    for (int i = 0; i < sk_X509_OBJECT_num(objects); ++i) {
        X509_CRL* const list = X509_OBJECT_get0_X509_CRL(sk_X509_OBJECT_value(objects, i));
        if (list == nullptr) {
            continue;
        }
        const char* const reason = !IsSigned(*list, *objects) ? "is not signed by the authority"
                                   : IsOver(*list)            ? "is over"
                                   : !HasBegun(*list)         ? "is from the future"
                                                              : nullptr;
        if (reason != nullptr) {
            throw std::runtime_error("the revocation list " + file + ' ' + reason + ": " + kRenewal);
        }
    }
}

void LoadRevocationList(SSL_CTX* context, const std::string& file) {
    X509_STORE* const store = SSL_CTX_get_cert_store(context);
    X509_LOOKUP* const lookup = X509_STORE_add_lookup(store, X509_LOOKUP_file());
    const bool isLoaded = lookup != nullptr && X509_load_crl_file(lookup, file.c_str(), X509_FILETYPE_PEM) > 0;
    Check(isLoaded ? 1 : 0, "the revocation list", file);
    CheckRevocationLists(*store, file);
    X509_STORE_set_flags(store, X509_V_FLAG_CRL_CHECK);
}

// Nothing without an end.
std::optional<Seconds> TimeUntil(const ASN1_TIME* end) {
    int days = 0;
    int seconds = 0;
    const bool isKnown = end != nullptr && ASN1_TIME_diff(&days, &seconds, nullptr, end) == 1;
    return isKnown ? std::make_optional(std::chrono::hours(24) * days + Seconds(seconds)) : std::nullopt;
}

// Of all that `readNext` finds in the file.
template <typename ReadNext>
std::optional<Seconds> ShortestTime(const std::string& file, const ReadNext& readNext) {
    const FilePointer source(BIO_new_file(file.c_str(), "r"));
    std::optional<Seconds> shortest;
    while (source != nullptr) {
        const std::optional<Seconds> time = readNext(source.get());
        if (!time) {
            break;
        }
        shortest = std::min(shortest.value_or(*time), *time);
    }
    ERR_clear_error();
    return shortest;
}

// A list that has ended still says who was revoked.
int TakeEndedList(int isGood, X509_STORE_CTX* verification) {
    return isGood == 1 || X509_STORE_CTX_get_error(verification) == X509_V_ERR_CRL_HAS_EXPIRED ? 1 : 0;
}

bool IsPrintable(unsigned char byte) {
    return byte >= ' ' && byte != 0x7F;
}

}  // namespace

Certificates::Certificates(const CertificateSettings& settings, Peers peers)
    : context_(SSL_CTX_new(TLS_server_method())) {
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
    LoadKey(context, settings.key);
    Check(SSL_CTX_load_verify_file(context, settings.authority.c_str()), "the authority", settings.authority);
    if (!settings.revocationList.empty()) {
        LoadRevocationList(context, settings.revocationList);
    }
    if (peers == Peers::kWithCertificate) {
        SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    } else {
        // Browsers offer their users the certificates of these authorities.
        SSL_CTX_set_client_CA_list(context, SSL_load_client_CA_file(settings.authority.c_str()));
        SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
    }
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
    if (certificate == nullptr || verification == nullptr) {
        return false;
    }
    if (X509_STORE_CTX_init(verification.get(), SSL_CTX_get_cert_store(context_.get()), certificate.get(),
                            SSL_get_peer_cert_chain(&connection)) != 1) {
        return false;
    }
    X509_STORE_CTX_set_verify_cb(verification.get(), &TakeEndedList);
    return X509_STORE_CTX_set_purpose(verification.get(), X509_PURPOSE_SSL_CLIENT) == 1 &&
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

std::string PeerFingerprint(SSL& connection) {
    const CertificatePointer certificate(SSL_get1_peer_certificate(&connection));
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned length = 0;
    if (certificate == nullptr || X509_digest(certificate.get(), EVP_sha256(), digest.data(), &length) != 1) {
        return "";
    }
    return {reinterpret_cast<const char*>(digest.data()), length};
}

std::optional<Seconds> TimeLeftOfCertificates(const std::string& file) {
    return ShortestTime(file, [](BIO* source) -> std::optional<Seconds> {
        const CertificatePointer certificate(PEM_read_bio_X509(source, nullptr, nullptr, nullptr));
        return certificate != nullptr ? TimeUntil(X509_get0_notAfter(certificate.get())) : std::nullopt;
    });
}

std::optional<Seconds> TimeLeftOfRevocationList(const std::string& file) {
    return ShortestTime(file, [](BIO* source) -> std::optional<Seconds> {
        const ListPointer list(PEM_read_bio_X509_CRL(source, nullptr, nullptr, nullptr));
        return list != nullptr ? TimeUntil(X509_CRL_get0_nextUpdate(list.get())) : std::nullopt;
    });
}

}  // namespace MuxProxy
