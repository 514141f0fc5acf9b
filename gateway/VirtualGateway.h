#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "gateway/Connection.h"
#include "gateway/FrameReceiver.h"
#include "gateway/GatewayOwner.h"
#include "gateway/RequestQueue.h"
#include "gateway/ResponseManager.h"
#include "gateway/WaitingRequests.h"
#include "messages/BrenkMessage.h"
#include "messages/BrenkMessageBuilder.h"
#include "threading/Mutex.h"
#include "threading/StopFlag.h"
#include "threading/Thread.h"

namespace Brenk {

// Distinguishes the operations on a lock; see VirtualGatewayOperations.cpp.
struct GatewayOperation;

// One physical lock gateway: the operations on its locks, and the two threads that send to it and read from it. Their
// data belongs to separate objects: connection, request queue, waiting requests, frame receiver and response manager.
// This class adds the guards and the operations that log lines belong to.
//
// Ownership: the Mux shares the gateway with its gateways thread. The socket is shared by the gateway and the thread
// that is sending or receiving, so that an error callback may drop the socket inside its own call. The send and read
// threads run from construction on and are woken and joined by the destructor; a gateway must therefore not be
// destroyed by one of its own callbacks.
//
// Threads: any thread may queue requests. Connecting, disconnecting and status changes happen one at a time and are
// re-entrant, because the owner reconnects inside a state callback. Response and event callbacks run on the read
// thread; state callbacks on the thread that changed the state.
class VirtualGateway {
  public:
    static constexpr std::uint32_t kDefaultPort = 2101;

    // Throws (a pointer to a new) NullObjectException for an empty address and InvalidArgumentException for port 0.
    VirtualGateway(std::string ipAddress, std::uint32_t port);
    explicit VirtualGateway(std::string ipAddress);

    // Likewise, with a builder for its frames and their counters, which it shares with the caller. Null for a gateway
    // that only sends what EnqueueMessage is given: no operation builds a frame then, and nothing received is decoded.
    VirtualGateway(std::string ipAddress, std::uint32_t port, std::shared_ptr<Messages::BrenkMessageBuilder> builder);

    ~VirtualGateway();

    VirtualGateway(const VirtualGateway&) = delete;
    VirtualGateway& operator=(const VirtualGateway&) = delete;

    // To be called directly after construction, before the first Connect. Until one of the two the send thread, which
    // runs already, does nothing.
    void SetOwner(GatewayOwner owner);

    std::int32_t ID() const;
    std::string Description() const;
    const std::string& IpAddress() const;
    std::uint32_t Port() const;
    VirtualGatewayStatuses Status() const;
    bool IsSequenceCounterKnown() const;
    std::time_t LastSendTime() const;

    // Connects, and then either asks the gateway for its sequence counter (status CONNECTED until it answers) or not
    // (READY at once). False in CONNECTED and NOT_PRESENT, and if the connection fails; the 20th failure of the object
    // makes it NOT_PRESENT. Without an owner there is no recipient for the counter: asking for it throws
    // ArgumentNullException (as a pointer) although connected, and each keep-alive costs a cycle of the send thread.
    bool Connect(bool refreshSequence);

    // Drops the connection. False, with nothing changed, unless CONNECTED, READY or FAULTED.
    bool Disconnect();

    // Keeps other threads from connecting and disconnecting while the caller looks at the status and decides what to
    // do. The lock is not held if another thread is at it right now.
    std::unique_lock<std::recursive_mutex> TryLockConnection();

    // Error callbacks of the socket; `context` is the gateway.
    static void SocketSendError(int errorNumber, void* context);
    static void SocketRecvError(int errorNumber, void* context);

    // Thread procedures; the argument is an owner block with the gateway.
    static void* readThreadProc(void* gatewayBlock);
    static void* sendThreadProc(void* gatewayBlock);

    // Whether the frame is one that a gateway sends unasked. Throws ArgumentNullException (as a pointer) for null.
    static bool IsEventMessageType(const Messages::BrenkMessage* message);

    // Queues a frame for the send thread and takes it over. Throws ArgumentNullException (as a pointer) for a null
    // message or context; then, and when the guard cannot be taken, the message stays the caller's.
    void EnqueueMessage(std::string id, Messages::BrenkMessage* message, void* context);

    // Queues the request for the gateway's sequence counter: a status request to an address without a lock.
    bool EnqueueRefreshSequenceCounter();

    // Queues a sequence refresh when 27 s have passed since the last one that this queued.
    void SendGetStatusKeepAlive();

    // The next frame that was received, owned by the caller; null when there is none. Read thread.
    Messages::BrenkMessage* FetchAndTranslateMessage();

    // Handles one frame from the gateway, at `receiveTime`, and frees it. Read thread.
    void ManageBrenkGatewayResponse(Messages::BrenkMessage* message, std::time_t receiveTime);

    // The operations on a lock. Each queues one request and returns true, or refuses it, by the status of the gateway,
    // and returns false; none waits for the answer, which comes through the response callback with `context`.
    // `requestID` names the request in the answer, `lockID` is the lock's device address. With `answersEvent` the
    // request answers a card event (command code with its high bit set).
    bool GetNodeStatus(std::string requestID, std::uint32_t lockID, void* context);
    bool OpenLock(std::string requestID, std::uint32_t lockID, std::uint8_t timeValue, bool answersEvent,
                  void* context);
    bool CloseLock(std::string requestID, std::uint32_t lockID, std::uint8_t delay, bool answersEvent, void* context);
    bool OpenCloseLock(std::string requestID, std::uint32_t lockID, std::uint8_t duration, bool answersEvent,
                       void* context);
    bool AccessDenied(std::string requestID, std::uint32_t lockID, bool answersEvent, void* context);

    // The operations on a lock's whitelist, likewise. In UID mode the setup number is always 0. `option` is sent as
    // the entry's option, 1 or 0.
    bool AddWhitelistEntry(std::string requestID, std::uint32_t lockID, bool uidMode, std::uint8_t setupNumber,
                           bool option, std::vector<unsigned char> cardData, void* context);
    bool RemoveWhitelistEntry(std::string requestID, std::uint32_t lockID, bool uidMode, std::uint8_t setupNumber,
                              std::vector<unsigned char> cardData, void* context);
    bool ClearWhiteList(std::string requestID, std::uint32_t lockID, void* context);
    bool EnableWhitelist(std::string requestID, std::uint32_t lockID, void* context);
    bool DisableWhitelist(std::string requestID, std::uint32_t lockID, void* context);

  private:
    using MessagePointer = std::unique_ptr<Messages::BrenkMessage>;

    // Both threads, and what ends their pauses for good. Null unless both could be started.
    struct Threads {
        Threading::StopFlag stop;
        std::unique_ptr<Threading::Thread> read;
        std::unique_ptr<Threading::Thread> send;
    };

    // Creates both threads and starts the send and then the read thread. False, with a line and neither thread left,
    // when one cannot be started. Called once, by the constructors.
    bool InitThreads();
    void ThreadsDestroy();

    // Sending.
    void Enqueue(std::string id, MessagePointer& message, void* context);
    void SendLoop();
    void SendCycle();

    // Receiving.
    void ReadLoop();
    void ReadCycle();
    void ReconnectAfterPendingError();

    // Operations.
    template <typename Build>
    bool EnqueueOperation(const GatewayOperation& operation, std::string requestID, void* context, const Build& build);

    const std::shared_ptr<Messages::BrenkMessageBuilder> builder_;  // may be null
    OwnerLink owner_{this};
    Connection connection_;

    Threading::Mutex waitingMessagesMutex_{"waitingMessagesMutex"};
    Threading::Mutex queueMutex_{"queueMutex"};
    RequestQueue queue_;
    WaitingRequests waiting_;
    FrameReceiver receiver_;  // read thread only
    ResponseManager responses_{builder_, waiting_, connection_, owner_};

    Threads threads_;
};

}  // namespace Brenk
