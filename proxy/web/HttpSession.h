#pragma once

// Before Beast: some versions of its headers use these types without it.
#include <cstdint>

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "proxy/net/TlsSession.h"

namespace MuxProxy {

using HttpRequest = boost::beast::http::request<boost::beast::http::string_body>;
using HttpResponse = boost::beast::http::response<boost::beast::http::string_body>;

class HttpSession;

// Whom a session tells what happens to it. All calls come from the network loop.
class HttpOwner {
  public:
    virtual ~HttpOwner() = default;
    // The handshake is done. The owner may close the session.
    virtual void HttpOpened(HttpSession& session) = 0;
    // One whole request; Answer() or BeginStream() follows once, now or later.
    virtual void HttpReceived(HttpSession& session, HttpRequest request) = 0;
    // The answer in the place of another: to text that is not a request of HTTP or is too long, which closes the
    // session, and when there is no room.
    virtual HttpResponse HttpFault(boost::beast::http::status status) = 0;
    // Whether another long answer may wait for its browser.
    virtual bool HasRoom() const = 0;
    // The last call.
    virtual void HttpEnded(HttpSession& session) = 0;
};

// One browser's connection: HTTP/1.1 over TLS (RFC 9112), one request at a time, or a stream of events to the browser.
// For the network loop.
class HttpSession : public TlsSession {
  public:
    static constexpr std::size_t kLongestHeader = 8192;
    static constexpr std::size_t kLongestBody = 4096;
    // Bodies beyond this are long: they are sent while all together leave room.
    static constexpr std::size_t kLongBody = 65536;
    // From the first byte of a request to its last, and from one to the next.
    static constexpr std::chrono::seconds kLongestRequest{10};
    static constexpr std::chrono::seconds kLongestIdle{60};
    // Of strangers, who have no session of the page.
    static constexpr std::chrono::seconds kLongestIdleOfStrangers{10};

    // The owner and the turns outlive the loop's last run. Throws std::bad_alloc.
    HttpSession(Socket socket, std::shared_ptr<const Certificates> certificates, SessionTurns& turns, HttpOwner& owner);
    ~HttpSession() override;

    // The answer to the request that was received. Does nothing on a closed session.
    void Answer(HttpResponse response);
    // Closes the connection when its answer was sent, if there is one to come.
    void Finish();
    // Somebody who is logged in uses it.
    void SetKnown() { isKnown_ = true; }
    bool IsKnown() const { return isKnown_; }
    // Called once if the browser goes before the answer.
    void SetGone(std::function<void()> gone) { gone_ = std::move(gone); }

    // Answers with this header and goes on with what Stream() is given, until the session is closed.
    void BeginStream(const HttpResponse& header);
    // Does nothing on a closed session.
    void Stream(std::string_view text);
    // What the browser did not take yet.
    std::size_t WaitingBytes() const { return PendingBytes(); }

    // False once the browser has gone.
    bool IsThere() const { return IsOpen(); }
    // Of the browser's certificate; empty without one.
    const std::string& Name() const { return name_; }
    const std::string& Fingerprint() const { return fingerprint_; }

  private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;

    // The next request is read when the answer to the last one was taken: nobody piles answers up.
    enum class State { kReceiving, kAnswering, kSending, kStreaming };

    void Shaken() override;
    void Read() override;
    void AllSent() override;
    void Ended(const std::string& reason) override;

    void ReadSome(unsigned steps);
    // Parses what was read.
    void Parse();
    void BeginRequest();
    void Fail(const boost::system::error_code& error);

    HttpOwner& owner_;
    std::string name_;
    std::string fingerprint_;
    State state_ = State::kReceiving;
    std::string received_;
    std::optional<Parser> parser_;
    bool hasBegun_ = false;
    bool isKnown_ = false;
    bool isFinishing_ = false;
    std::function<void()> gone_;
};

}  // namespace MuxProxy
