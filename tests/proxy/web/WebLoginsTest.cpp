#include "proxy/web/WebLogins.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <array>
#include <boost/asio/ip/tcp.hpp>
#include <future>
#include <memory>
#include <string>

#include "proxy/net/Turns.h"
#include "proxy/web/WebReplies.h"
#include "tests/proxy/AuditKit.h"
#include "tests/proxy/web/WebAccessKit.h"
#include "tests/support/Process.h"

namespace MuxProxy {
namespace {

using boost::asio::ip::tcp;
using testing::StartsWith;
using Passwords = WebLogins::PasswordsPointer;

Passwords UsersOf(const std::string& text) {
    return std::make_shared<const PasswordFile>(text);
}

// Sends a request over TLS and returns all that is answered until the end. It does not ask who answers: the test does.
std::string AnswerOf(tcp::socket& socket, const std::string& request) {
    const std::unique_ptr<SSL_CTX, TlsRelease> context(SSL_CTX_new(TLS_client_method()));
    const TlsPointer connection(SSL_new(context.get()));
    SSL_set_fd(connection.get(), socket.native_handle());
    EXPECT_EQ(SSL_connect(connection.get()), 1);
    EXPECT_EQ(SSL_write(connection.get(), request.data(), static_cast<int>(request.size())),
              static_cast<int>(request.size()));
    std::string answer;
    std::array<char, 4096> bytes;
    for (int count = 1; count > 0;) {
        count = SSL_read(connection.get(), bytes.data(), static_cast<int>(bytes.size()));
        answer.append(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return answer;
}

// One browser that logs in as "anna" with the password of kHash. The file of users is read anew before the loop can
// hear of the verdict about the password, which is by the file of before.
class WebLoginsTest : public testing::Test, public HttpOwner {
  protected:
    WebLoginsTest() {
        const Testing::Ending ending = Testing::RunToEnd({CERTIFICATES_SCRIPT, File(""), "server", "localhost"});
        EXPECT_EQ(ending.status, 0) << ending.error;
        logins_.Start(audit_);
    }

    // The answer, when `readAnew` takes the place of the file while the password is verified.
    std::string LogIn(Passwords readAnew) {
        readAnew_ = std::move(readAnew);
        tcp::acceptor acceptor(loop_, {boost::asio::ip::address_v4::loopback(), 0});
        tcp::socket browser(loop_);
        browser.connect(acceptor.local_endpoint());
        std::make_shared<HttpSession>(acceptor.accept(), Keys(), turns_, *this)->Start(std::chrono::seconds(10));
        const std::string body = R"({"user":"anna","password":"password"})";
        const std::string request =
            "POST /api/session HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n"
            "Content-Length: " +
            std::to_string(body.size()) + "\r\n\r\n" + body;
        std::future<std::string> answer =
            std::async(std::launch::async, [&browser, &request] { return AnswerOf(browser, request); });
        loop_.run();
        return answer.get();
    }

    // What the audit has of it.
    std::string Row() {
        AddAndWait(audit_, 0, RowOf("proxy"));
        return audited_.Rows().front();
    }

    void HttpOpened(HttpSession& /*session*/) override {}
    void HttpReceived(HttpSession& session, HttpRequest request) override {
        const auto exchange = std::make_shared<WebExchange>();
        exchange->connection = std::static_pointer_cast<HttpSession>(session.shared_from_this());
        exchange->request = std::move(request);
        logins_.LogIn(exchange);
        logins_.SetPasswords(readAnew_);
    }
    HttpResponse HttpFault(boost::beast::http::status status) override { return EmptyReply(status); }
    bool HasRoom() const override { return true; }
    void HttpEnded(HttpSession& /*session*/) override { logins_.Stop(); }

  private:
    std::string File(const std::string& name) const { return (folder_.Path() / name).string(); }
    std::shared_ptr<const Certificates> Keys() const {
        return std::make_shared<const Certificates>(
            CertificateSettings{File("server.crt"), File("server.key"), File("authority.crt"), ""},
            Certificates::Peers::kAll);
    }

    Testing::TemporaryFolder folder_;
    AuditFolder audited_;
    AuditLog audit_{audited_.Settings()};
    boost::asio::io_context loop_;
    SessionTurns turns_{loop_};
    WebLogins logins_{loop_,
                      {},
                      UsersOf("anna:" + kHash),
                      [](WebSessionNumber) {},
                      [](const std::string& name) { return Viewer{name}; }};
    Passwords readAnew_;
};

TEST_F(WebLoginsTest, AFileThatIsReadAnewUnchangedLetsIn) {
    EXPECT_THAT(LogIn(UsersOf("ben:" + kHash + "\nanna:" + kHash)), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(Row(), StartsWith("connection,anna,web 127.0.0.1,logged-in,"));
}

TEST_F(WebLoginsTest, AUserWhoIsRemovedMeanwhileIsNotLetIn) {
    EXPECT_THAT(LogIn(UsersOf("ben:" + kHash)), StartsWith("HTTP/1.1 401 "));
    EXPECT_THAT(Row(), StartsWith("connection,anna,web 127.0.0.1,log-in-refused,"));
}

TEST_F(WebLoginsTest, APasswordThatIsReplacedMeanwhileLetsNobodyIn) {
    EXPECT_THAT(LogIn(UsersOf("anna:" + HashPassword("another password"))), StartsWith("HTTP/1.1 401 "));
    EXPECT_THAT(Row(), StartsWith("connection,anna,web 127.0.0.1,log-in-refused,"));
}

}  // namespace
}  // namespace MuxProxy
