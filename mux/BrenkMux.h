#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "gateway/VirtualGateway.h"
#include "mux/Clients.h"
#include "mux/Delivery.h"
#include "mux/GatewayRegistry.h"
#include "mux/MuxRequestRecord.h"
#include "mux/PendingRequests.h"
#include "mux/RecordQueue.h"
#include "mux/configuration/MuxConfigurationData.h"
#include "threading/Thread.h"

namespace Mux {

// The central object of the process: between the clients' server socket and the virtual gateways it moves requests one
// way and answers and events the other.
//
//   client ── request queue ──▶ gateways thread ──▶ VirtualGateway      (pending list: what waits for an answer)
//   client ◀── answer queue ─── main thread    ◀── read thread of the gateway
//
// Ownership: the Mux owns the server socket, the gateways and every record; a record belongs to the one queue or list
// that holds it. The server socket and the gateways get the Mux as the context of their callbacks.
//
// It is a facade: its operations write the log lines and take the guards; the data belongs to the objects behind it.
//
// Each of its two loops handles at most one record per millisecond. That pace is deliberate.
class BrenkMux {
  public:
    // Listens on port 5555.
    BrenkMux();
    explicit BrenkMux(int port);

    // Ends the loops and waits for them, then destroys the gateways and the server socket. The process leaves
    // without it.
    ~BrenkMux();

    BrenkMux(const BrenkMux&) = delete;
    BrenkMux& operator=(const BrenkMux&) = delete;

    // Starts the main thread, which starts everything else; nothing when the Mux already runs. When one of the threads
    // cannot be started there is a line, and the Mux ends as if its port were taken.
    void Start();

    // Returns when the main thread has ended; at once if there is none.
    void Wait();

    // Each makes both loops end after their current pass. Any thread.
    void ForceShutdown();
    void Stop();

    // Reads and applies a configuration. False, with the old configuration kept, if the file cannot be read or is not
    // JSON. Not while requests are being routed to gateways that this replaces.
    bool ParseConfigurationFile(std::string path);
    bool ParseConfiguration(std::string json);
    bool ParseConfigurationMessage(MuxMessage& message);

    // Destroys all gateways and makes those of the configuration, not yet connected. One that cannot be made costs an
    // error line.
    void InitVirtualGateways(Configuration::MuxConfigurationData configuration);

    // Connects every gateway that needs it. Gateways thread, once a pass.
    void ConnectVirtualGateways();

    // Takes a client's JSON text and queues the request. Receive thread.
    void TranslateClientMessage(int descriptor, std::vector<unsigned char>& payload);

    // Forwards the request at the head of the request queue, or queues a NACK for it. Gateways thread, once a pass.
    void PopNextMessage();

    // Hands the request to the gateway that it names. True when the gateway took it; the record then belongs to the
    // pending list, or has ended already. False when it could not be handed on: the record stays the caller's. When
    // something is thrown the record is freed. Gateways thread.
    bool SendMessageToVG(MuxRequestRecord* record);

    // Delivers the record at the head of the answer queue; true when it was. Main thread, once a pass.
    bool SendMessageToClientIfAvailable();

    // Turns a gateway's answer into the client's and queues it; `response` may be null. Read thread of the gateway.
    void TranslateVirtualGatewayMessage(Brenk::VirtualGateway* gateway,
                                        Brenk::Messages::VG::VirtualGatewayResponseMessage* response);

    // Turns a gateway's event into one event message and queues it for every client. Read thread of the gateway.
    void TranslateVirtualGatewayEvent(Brenk::VirtualGateway* gateway,
                                      Brenk::Messages::VG::VirtualGatewayEventMessage* event);

    // Thread procedures; the argument is an owner block with the Mux.
    static void* mainThreadProc(void* muxBlock);
    static void* gatewaysThreadProc(void* muxBlock);

    // Callbacks; `context` is the Mux. `data`, `response` and `event` are taken over.
    static void ServerSocketClientAccepted(int descriptor, void* context);
    static void ServerSocketClientDeleted(int descriptor, void* context);
    static std::size_t DescriptorsForGateways(void* context);  // of those that are not connected
    static void ServerSocketClientDataReceived(int descriptor, std::vector<unsigned char>* data, void* context);
    static void VirtualGatewayStateChangedCallback(Brenk::VirtualGateway* gateway,
                                                   Brenk::VirtualGatewayStatuses oldStatus,
                                                   Brenk::VirtualGatewayStatuses newStatus, void* context);
    static void VirtualGatewayResponseReceivedCallback(Brenk::VirtualGateway* gateway,
                                                       Brenk::Messages::VG::VirtualGatewayResponseMessage* response,
                                                       void* context);
    static void VirtualGatewayEventReceivedCallback(Brenk::VirtualGateway* gateway,
                                                    Brenk::Messages::VG::VirtualGatewayEventMessage* event,
                                                    void* context);

    bool IsConfigured() const;

    // The gateways of the current configuration. Any thread.
    std::shared_ptr<const GatewayCollections> Gateways() const;

    // What waits: for a client, for a gateway, for a gateway's answer. Any thread.
    RecordQueue& Answers() { return answers_; }
    const RecordQueue& Requests() const { return requests_; }
    const PendingRequests& Pending() const { return pending_; }

    // Called when the three mutexes have been made, and to destroy them; after that no guard of theirs can be locked.
    void InitMutexes();
    void DestroyMutexes();

  private:
    using MessagePointer = std::shared_ptr<MuxMessage>;

    void StopAndJoin();
    void RunMainThread();
    void RunGatewaysThread();
    bool OpenServerSocket();

    void ForwardRequest(RecordPointer record);
    void AnswerWithNack(RecordPointer record);
    void EnqueueNack(RecordPointer record);
    void EnqueueAnswer(RecordPointer record, std::unique_ptr<MuxMessage> answer);
    void EnqueueEvent(const MessagePointer& message);

    const int port_;
    GatewayRegistry gateways_;

    std::atomic<bool> running_{false};
    std::unique_ptr<Threading::Thread> mainThread_;
    std::unique_ptr<Threading::Thread> gatewaysThread_;

    RecordQueue answers_{"muxMessageQueueMutex"};
    RecordQueue requests_{"clientMessageQueueMutex"};
    PendingRequests pending_{"pendingMessagesListMutex"};
    Clients clients_;
    Delivery delivery_{answers_, clients_};
};

}  // namespace Mux
