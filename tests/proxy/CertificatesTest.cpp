#include "proxy/net/Certificates.h"

#include <gtest/gtest.h>
#include <openssl/bio.h>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

namespace MuxProxy {
namespace {

// An authority with a server and a client, whose handshakes are made in memory.
struct CertificatesTest : testing::Test {
    CertificatesTest() {
        Run({CERTIFICATES_SCRIPT, File(""), "server", "localhost"});
        Run({CERTIFICATES_SCRIPT, File(""), "client", "reception"});
    }

    static void Run(const std::vector<std::string>& command) {
        const Testing::Ending ending = Testing::RunToEnd(command);
        EXPECT_EQ(ending.status, 0) << ending.error;
    }

    std::string File(const std::string& name) const { return (folder.Path() / name).string(); }

    CertificateSettings Settings() const {
        return {File("server.crt"), File("server.key"), File("authority.crt"), File("revoked.crl")};
    }

    // The proxy's side; the client with its common name takes the other.
    TlsPointer Connect(const Certificates& certificates) {
        SSL_CTX_use_certificate_file(context.get(), File("clients/reception.crt").c_str(), SSL_FILETYPE_PEM);
        SSL_CTX_use_PrivateKey_file(context.get(), File("clients/reception.key").c_str(), SSL_FILETYPE_PEM);
        client.reset(SSL_new(context.get()));
        TlsPointer server = certificates.NewConnection();
        BIO* ofServer = nullptr;
        BIO* ofClient = nullptr;
        BIO_new_bio_pair(&ofServer, 0, &ofClient, 0);
        SSL_set_bio(server.get(), ofServer, ofServer);
        SSL_set_bio(client.get(), ofClient, ofClient);
        SSL_set_connect_state(client.get());
        for (int step = 0; step < 10; ++step) {
            SSL_do_handshake(client.get());
            SSL_do_handshake(server.get());
        }
        return server;
    }

    Testing::TemporaryFolder folder;
    std::unique_ptr<SSL_CTX, TlsRelease> context{SSL_CTX_new(TLS_client_method())};
    TlsPointer client;
};

TEST_F(CertificatesTest, AListThatEndsTurnsAwayNewClientsAndNotThoseConnected) {
    Run({"openssl", "ca", "-config", File("openssl.cnf"), "-gencrl", "-crlsec", "3", "-out", File("revoked.crl")});
    const Certificates certificates(Settings());
    const TlsPointer connected = Connect(certificates);
    ASSERT_EQ(PeerName(*connected), "reception");
    EXPECT_TRUE(Testing::WaitUntil([&] { return SSL_is_init_finished(Connect(certificates).get()) == 0; }));
    EXPECT_TRUE(certificates.Accepts(*connected));
    Run({CERTIFICATES_SCRIPT, File(""), "revoke", "reception"});
    EXPECT_FALSE(Certificates(Settings()).Accepts(*connected));
}

}  // namespace
}  // namespace MuxProxy
