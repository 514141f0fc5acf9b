// The client's side of TLS before there is a server that speaks it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/LoopbackSocket.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/client/Client.h"

namespace MuxClient {
namespace {

using testing::EndsWith;
using Testing::TemporaryFolder;
using testing::ThrowsMessage;

TEST(TlsTest, GivesAProxyMoreTimeThanAMux) {
    EXPECT_EQ(DefaultTimeout({"127.0.0.1", 5555}), std::chrono::seconds(15));
    EXPECT_EQ(DefaultTimeout({"127.0.0.1", 5556, TlsSettings()}), std::chrono::seconds(21));
}

TEST(TlsTest, SaysWhichFileCannotBeUsedBeforeItConnects) {
    const TemporaryFolder files;
    const std::string empty = files.Write("empty.crt", "");
    const auto connecting = [](const TlsSettings& tls) {
        return [tls] { const Client client({"127.0.0.1", 1, tls}); };
    };
    EXPECT_THAT(connecting({"/nowhere.crt"}),
                ThrowsMessage<CertificateError>("/nowhere.crt cannot be used: No such file or directory"));
    EXPECT_THAT(connecting({"", empty}),
                ThrowsMessage<CertificateError>(empty + " cannot be used: it has no certificate"));
}

TEST(TlsTest, GivesUpAHandshakeAfterTheTimeout) {
    const auto silent = Testing::LoopbackSocket::Listening();
    const MuxAddress address = {"127.0.0.1", static_cast<std::uint16_t>(silent.Port()), TlsSettings()};
    const auto connecting = [&] { const Client client(address, std::chrono::milliseconds(50)); };
    EXPECT_THAT(connecting, ThrowsMessage<ConnectionError>(EndsWith(": no TLS handshake within 50 ms")));
}

}  // namespace
}  // namespace MuxClient
