#include "tools/client/Tls.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>

namespace MuxClient {
namespace {

using asio::ssl::context;

struct Reason {
    int code;
    const char* text;
};

// Of OpenSSL's verification, where its own words do not help.
constexpr std::array kVerifyReasons = {
    Reason{X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, "its authority is not trusted"},
    Reason{X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, "its authority is not trusted"},
    Reason{X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, "its authority is not trusted"},
    Reason{X509_V_ERR_CERT_SIGNATURE_FAILURE, "its authority is not trusted"},
    Reason{X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, "its authority is not trusted"},
    Reason{X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, "its authority is not trusted"},
};

// Alerts of a server.
constexpr std::array kAlerts = {
    Reason{SSL_AD_BAD_CERTIFICATE, "it is broken"},
    Reason{SSL_AD_UNSUPPORTED_CERTIFICATE, "it is not for use by a client"},
    Reason{SSL_AD_CERTIFICATE_REVOKED, "it was revoked"},
    Reason{SSL_AD_CERTIFICATE_EXPIRED, "it is not valid at this time"},
    Reason{SSL_AD_CERTIFICATE_UNKNOWN, "no reason given"},
    Reason{SSL_AD_UNKNOWN_CA, "its authority is not trusted there"},
    Reason{SSL_AD_ACCESS_DENIED, "access denied"},
};

// Nothing if the table has no row for the code.
template <std::size_t Size>
const char* TextFor(int code, const std::array<Reason, Size>& reasons) {
    const auto found =
        std::find_if(reasons.begin(), reasons.end(), [code](const Reason& reason) { return reason.code == code; });
    return found == reasons.end() ? nullptr : found->text;
}

bool IsAddress(const std::string& text) {
    asio::error_code error;
    asio::ip::make_address(text, error);
    return !error;
}

// `content` is what a file that can be read should have.
void Require(const std::string& file, const asio::error_code& error, const char* content) {
    if (!error) {
        return;
    }
    const bool isMismatch = ERR_GET_LIB(static_cast<unsigned long>(error.value())) == ERR_LIB_X509 &&
                            ERR_GET_REASON(static_cast<unsigned long>(error.value())) == X509_R_KEY_VALUES_MISMATCH;
    const std::string reason = error.category() != asio::error::get_ssl_category() ? error.message()
                               : isMismatch ? "the key does not belong to the certificate"
                                            : std::string("it has no ") + content;
    throw CertificateError((file.empty() ? "the system's certificates" : file) + " cannot be used: " + reason);
}

void LoadOwnCertificate(context& tls, const TlsSettings& settings) {
    asio::error_code error;
    // The default asks at the terminal.
    tls.set_password_callback([](std::size_t, context::password_purpose) { return std::string(); });
    Require(settings.certificate, tls.use_certificate_chain_file(settings.certificate, error), "certificate");
    const std::string& key = settings.key.empty() ? settings.certificate : settings.key;
    Require(key, tls.use_private_key_file(key, context::pem, error), "private key without a password");
}

// "CN = mux.example", or what else the subject has.
std::string SubjectOf(const X509* certificate) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> text(BIO_new(BIO_s_mem()), &BIO_free);
    if (certificate == nullptr || text == nullptr ||
        X509_NAME_print_ex(text.get(), X509_get_subject_name(certificate), 0, XN_FLAG_ONELINE) < 0) {
        return "";
    }
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(text.get(), &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

}  // namespace

context MakeTlsContext(const TlsSettings& settings) {
    context tls(context::tls_client);
    SSL_CTX_set_min_proto_version(tls.native_handle(), TLS1_2_VERSION);
    tls.set_verify_mode(asio::ssl::verify_peer);
    asio::error_code error;
    Require(settings.authority,
            settings.authority.empty() ? tls.set_default_verify_paths(error)
                                       : tls.load_verify_file(settings.authority, error),
            "certificate");
    if (!settings.certificate.empty()) {
        LoadOwnCertificate(tls, settings);
    }
    return tls;
}

void ExpectServer(SSL& connection, const std::string& nameOrAddress) {
    X509_VERIFY_PARAM* const expected = SSL_get0_param(&connection);
    const bool isAddress = IsAddress(nameOrAddress);
    const bool isSet = isAddress ? X509_VERIFY_PARAM_set1_ip_asc(expected, nameOrAddress.c_str()) == 1
                                 : X509_VERIFY_PARAM_set1_host(expected, nameOrAddress.c_str(), 0) == 1 &&
                                       SSL_set_tlsext_host_name(&connection, nameOrAddress.c_str()) == 1;
    // Without it any certificate of the authority would do.
    if (!isSet) {
        throw CertificateError("\"" + nameOrAddress + "\" cannot be the name in a certificate");
    }
}

std::string WhyRefused(X509_STORE_CTX& verification, const std::string& name) {
    const int code = X509_STORE_CTX_get_error(&verification);
    const bool isOther = code == X509_V_ERR_HOSTNAME_MISMATCH || code == X509_V_ERR_IP_ADDRESS_MISMATCH;
    const char* const known = TextFor(code, kVerifyReasons);
    const std::string reason = isOther            ? "it is not for " + name
                               : known != nullptr ? known
                                                  : X509_verify_cert_error_string(code);
    return "the server's certificate \"" + SubjectOf(X509_STORE_CTX_get_current_cert(&verification)) +
           "\" is refused: " + reason;
}

std::string WhyRefusedByServer(const asio::error_code& error, const TlsSettings& settings) {
    if (error.category() != asio::error::get_ssl_category()) {
        return "";
    }
    const int alert = ERR_GET_REASON(static_cast<unsigned long>(error.value())) - SSL_AD_REASON_OFFSET;
    if (alert == SSL_AD_CERTIFICATE_REQUIRED || (alert == SSL_AD_HANDSHAKE_FAILURE && settings.certificate.empty())) {
        return "the server requires a client certificate";
    }
    const char* const reason = TextFor(alert, kAlerts);
    return reason == nullptr ? "" : "the server refused the certificate " + settings.certificate + ": " + reason;
}

}  // namespace MuxClient
