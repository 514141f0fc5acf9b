#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

namespace Testing {

// A plain TCP socket on 127.0.0.1: the other end of whatever a test is about. It shares no code with the program.
//
// Failures throw std::system_error. Every wait has a deadline; signals do not end one. Closes its descriptor.
class LoopbackSocket {
  public:
    using Bytes = std::vector<unsigned char>;

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
    void Send(const Bytes& bytes);

    // Receives until there are `count` bytes. Returns fewer when the peer ends the connection or the deadline passes.
    Bytes Receive(std::size_t count, std::chrono::milliseconds deadline = std::chrono::seconds(10));

    // Waits until the peer has closed or reset the connection, dropping what still arrives; false at the deadline.
    bool WaitForEnd(std::chrono::milliseconds deadline = std::chrono::seconds(10));

    // Closes the sending direction only.
    void ShutDownSending();

    void Close();

    // Closes so that the peer sees a reset connection.
    void Reset();

  private:
    // Waits for input and receives once: the number of bytes, 0 at the end of the connection or at the deadline.
    std::size_t ReceiveOnce(Bytes& chunk, std::chrono::steady_clock::time_point end);

    int descriptor_;
};

}  // namespace Testing
