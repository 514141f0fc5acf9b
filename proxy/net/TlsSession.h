#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "proxy/net/TlsStream.h"
#include "proxy/net/Turns.h"

namespace MuxProxy {

// One TLS connection from outside, whatever is spoken on it: the handshake, which takes turns, what waits to be sent,
// and the end.
//
// Nobody waits for the peer: what it does not take is kept for kLongestWait, then the connection is closed. For the
// network loop; lives as long as something is under way on it.
class TlsSession : public std::enable_shared_from_this<TlsSession> {
  public:
    using Socket = boost::asio::ip::tcp::socket;
    static constexpr std::chrono::seconds kLongestWait{10};

    // The turns outlive the loop's last run. Throws std::bad_alloc.
    TlsSession(Socket socket, std::shared_ptr<const Certificates> certificates, SessionTurns& turns);
    virtual ~TlsSession();
    TlsSession(const TlsSession&) = delete;
    TlsSession& operator=(const TlsSession&) = delete;

    // Begins the handshake, which may take so long.
    void Start(std::chrono::milliseconds handshake);
    // Ended() follows from the loop, once.
    void Close(const std::string& reason);
    // When all is sent that waits.
    void CloseWhenSent(const std::string& reason);

    // "192.0.2.1" or "2001:db8::1".
    const std::string& Address() const { return address_; }
    // Closes it if these do not accept the peer's certificate, or not any more; takes a turn to look.
    void CheckAgain(std::shared_ptr<const Certificates> certificates);
    // Whether these would accept the peer's certificate now.
    bool IsAcceptedBy(const Certificates& certificates) { return certificates.Accepts(stream_.Connection()); }
    bool IsMadeWith(const std::shared_ptr<const Certificates>& certificates) const {
        return certificates_ == certificates;
    }

  protected:
    using Timer = boost::asio::steady_timer;

    // The handshake is done, and Read() follows unless this closes the session.
    virtual void Shaken() = 0;
    // There may be something to read.
    virtual void Read() = 0;
    // So many bytes wait no more: they were sent, or the session is closed.
    virtual void NoLongerPending(std::size_t count) { static_cast<void>(count); }
    // All was sent that waited.
    virtual void AllSent() {}
    // The last call. `reason` is for people; empty when the peer closed its connection.
    virtual void Ended(const std::string& reason) = 0;

    // Reads up to `size` bytes. None: Read() follows when there are some, or the session is closed.
    std::size_t ReadBytes(char* buffer, std::size_t size);
    // Sends them behind what waits. Only on an open session.
    void Append(std::string_view bytes);
    std::size_t PendingBytes() const { return pending_.size() - sent_; }
    // Closes the session unless the time is set anew before, or StopWatching().
    void WatchReading(std::chrono::milliseconds time, const char* reason) { Watch(readTimer_, time, reason); }
    void StopWatchingReading() { readTimer_.expires_at(Timer::time_point::max()); }
    bool IsOpen() const { return isOpen_; }
    SessionTurns& SharedTurns() { return turns_; }
    SSL& Connection() { return stream_.Connection(); }
    Socket::executor_type Executor() { return socket_.get_executor(); }

  private:
    using WaitType = Socket::wait_type;
    using Step = void (TlsSession::*)();

    void AskToShake();
    void Shake();
    void Write();
    void TakeOff(std::size_t count);
    void DropPending();
    // Calls `next` when the socket is ready for what `result` wants; closes when it is over.
    void After(TlsStream::Result result, Step next);
    void Wait(WaitType type, Step next);
    void Watch(Timer& timer, std::chrono::milliseconds time, const char* reason);

    Socket socket_;
    const std::shared_ptr<const Certificates> certificates_;
    TlsStream stream_;
    SessionTurns& turns_;
    Timer readTimer_;
    Timer writeTimer_;
    const std::string address_;
    // The first bytes are sent already: they leave it now and then, so that much costs no more than little.
    std::string pending_;
    std::size_t sent_ = 0;
    // Why it closes when all is sent.
    std::optional<std::string> ending_;
    bool isWriting_ = false;
    bool isOpen_ = true;
};

}  // namespace MuxProxy
