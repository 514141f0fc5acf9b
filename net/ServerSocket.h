#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "net/ClientTable.h"
#include "net/ClientWatch.h"
#include "net/MemoryPeaks.h"
#include "net/OpenSocket.h"
#include "threading/StopFlag.h"
#include "threading/Synchronized.h"
#include "threading/Thread.h"

namespace Brenk::Net {

// The listening side toward the clients.
//
// Ownership: the owner holds the server socket and gives it callbacks and one context pointer. The server socket holds
// its two threads, the listening socket and the client list; the list and current users share the ClientConnection.
// Clients are closed by the receive thread (the client closed its side, sent what can never become a packet, or there
// is no memory for its data) and by the sender (the client does not accept its answer).
//
// Callbacks run on the accept thread (client accepted, descriptors for others), the receive thread (data received,
// client deleted) and the sending thread (data sent, client deleted); the owner makes them thread-safe. Set them before
// the loops start.
class ServerSocket {
  public:
    using ClientCallback = void (*)(int descriptor, void* context);
    // `packet` is one whole packet, length field included; the receiver owns it.
    using DataReceivedCallback = void (*)(int descriptor, std::vector<unsigned char>* packet, void* context);
    using DescriptorsCallback = std::size_t (*)(void* context);
    using DataSentCallback = void (*)(int descriptor, int bytesSent, void* context);

    // Listens on port 5555.
    ServerSocket();

    // A port outside 1..65535 makes InitSocket fail; no other port is ever opened in its place.
    explicit ServerSocket(int port);

    // Ends both loops, waits for their threads and closes every client.
    ~ServerSocket();

    ServerSocket(const ServerSocket&) = delete;
    ServerSocket& operator=(const ServerSocket&) = delete;

    void SetContext(void* context);
    void SetClientAcceptedCallback(ClientCallback callback);
    void SetClientDeletedCallback(ClientCallback callback);
    void SetDataReceivedCallback(DataReceivedCallback callback);
    void SetDataSentCallback(DataSentCallback callback);

    // The callback returns how many descriptors other parts will still open. These are reserved for them, besides the
    // few that are always kept. Called on the accept thread for each new client.
    void SetDescriptorsForOthersCallback(DescriptorsCallback callback);

    // How many more clients may be connected now, as far as descriptors go. Any thread.
    std::size_t RoomForClients() const;

    // Opens, binds and listens; false, with a line, when it cannot.
    bool InitSocket();

    // Each starts its thread, once; further calls do nothing. False, with a line, when the thread cannot be started;
    // it may then be tried again.
    bool StartAcceptLoop();
    bool StartReceiveLoop();

    static void* AcceptLoopThreadProc(void* serverSocketBlock);
    static void* ReceiveDataLoopThreadProc(void* serverSocketBlock);

    // Sends one buffer to the client that has this descriptor number now, without waiting for the client. An empty
    // buffer is not sent. True when socket and pending output took it whole, which counts as sent. False when not; the
    // client has then been closed. Any thread.
    bool Send(int descriptor, const std::vector<unsigned char>& data);

    // The same for one particular client: fails if it has gone, even if its number is in use again.
    bool Send(const ClientIdentity& client, const std::vector<unsigned char>& data);

    // Removes and closes the client that has this number now, and reports it as deleted. Any thread.
    enum class ListLock { kTake, kAlreadyTaken };
    void CloseClient(int descriptor, ListLock lock);

    // The descriptors of all connected clients, in the order in which they came. Any thread.
    std::vector<int> ConnectedDescriptors();

    // The same with their serial numbers.
    std::vector<ClientIdentity> ConnectedClients();

    // The client with this descriptor number; serial 0 if there is none. Any thread.
    ClientIdentity IdentityOf(int descriptor);

    static constexpr int kDefaultPort = 5555;

  private:
    static constexpr int kListLockTimeout = 5;

    using Clock = ClientWatch::Clock;

    struct Callbacks {
        DescriptorsCallback descriptorsForOthers = nullptr;
        ClientCallback clientAccepted = nullptr;
        ClientCallback clientDeleted = nullptr;
        DataReceivedCallback dataReceived = nullptr;
        DataSentCallback dataSent = nullptr;
        void* context = nullptr;
    };

    struct Loop {
        std::atomic<bool> isRunning{false};
        std::unique_ptr<Threading::Thread> thread;
    };

    bool FailToInit(const char* text, int error);
    int Bind(int descriptor) const;
    bool Start(Loop& loop, Threading::Thread::Procedure procedure);

    void AcceptLoop();
    bool AcceptClient(const OpenSocket& listener);
    bool HasRoomFor(int descriptor) const;
    std::size_t KeptDescriptors() const;
    void AddClient(const ClientPointer& client);
    void CloseListener();
    void PauseAfterException();

    void ReceiveLoop();
    void ReceivePass();
    bool WaitForActivity();
    void SendOnPendingOutput();
    void DrainReadyClients();
    bool TakeFrom(const ClientPointer& client);
    bool DrainClient(ClientConnection& client);  // false when the client is to be closed
    void CloseResetClients(const std::vector<ClientPointer>& resetClients);

    bool SendTo(const ClientPointer& client, int descriptor, const std::vector<unsigned char>& data);
    void FailSend(const ClientPointer& client, int descriptor, int error);
    void CloseConnection(const ClientPointer& client, ListLock lock);

    const int port_;
    Threading::Synchronized<std::shared_ptr<OpenSocket>> listener_;
    ClientTable clients_;
    Callbacks callbacks_;
    ClientWatch watch_;
    MemoryPeaks memory_;
    Threading::StopFlag stop_;
    Loop acceptLoop_;
    Loop receiveLoop_;
};

}  // namespace Brenk::Net
