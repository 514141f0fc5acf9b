#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>
#include <vector>

namespace Testing {

// A plain TCP socket on 127.0.0.1: the other end of whatever a test is about. It shares no code with the program.
//
// Failures throw std::system_error. Every wait has a deadline; signals do not end one. Closes its descriptor.
class LoopbackSocket {
  public:
    using Bytes = std::vector<unsigned char>;

    // How the peer ended the connection.
    enum class Ending { kNone, kClosed, kReset };

    // A socket that is not connected yet.
    LoopbackSocket();

    // Takes over a descriptor.
    explicit LoopbackSocket(int descriptor);

    // Listens on a port that the kernel picks (see Port()), without SO_REUSEPORT: nobody else can have that port.
    static LoopbackSocket Listening(int backlog = 16);

    static LoopbackSocket ConnectedTo(int port);

    LoopbackSocket(LoopbackSocket&& other) noexcept;
    LoopbackSocket& operator=(LoopbackSocket&& other) noexcept;
    ~LoopbackSocket();

    void ConnectTo(int port);
    LoopbackSocket Accept(std::chrono::milliseconds deadline = std::chrono::seconds(10));

    // Makes the receive buffer as small as it can be, here and in what is accepted here from now on: a peer that sends
    // much is soon held up by one that does not read. Before connecting.
    void UseSmallReceiveBuffer();

    int Port() const;
    int Descriptor() const;

    // Sends everything, however long the peer takes.
    void Send(const Bytes& bytes) const { SendText({reinterpret_cast<const char*>(bytes.data()), bytes.size()}); }
    void SendText(std::string_view text) const;

    // Receives until there are `count` bytes. Returns fewer when the peer ends the connection or the deadline passes.
    Bytes Receive(std::size_t count, std::chrono::milliseconds deadline = std::chrono::seconds(10));

    // What has arrived, at most so many bytes, without waiting; nothing too at the end of the connection.
    Bytes ReceiveAvailable(std::size_t most) const;

    // Whether for so long neither bytes nor the connection's end arrive, nor a connection on a listening socket.
    bool IsQuietFor(std::chrono::milliseconds duration) const;

    // Waits until the peer has closed or reset the connection, dropping what still arrives; kNone at the deadline.
    Ending WaitForEnding(std::chrono::milliseconds deadline = std::chrono::seconds(10));

    // The same; false at the deadline.
    bool WaitForEnd(std::chrono::milliseconds deadline = std::chrono::seconds(10)) {
        return WaitForEnding(deadline) != Ending::kNone;
    }

    // Closes the sending direction only.
    void ShutDownSending();

    void Close();

    // Closes so that the peer sees a reset connection.
    void Reset();

  private:
    int descriptor_;
};

}  // namespace Testing
