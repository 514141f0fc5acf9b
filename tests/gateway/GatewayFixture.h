#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gateway/VirtualGateway.h"
#include "tests/gateway/LogGate.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FakeGateway.h"
#include "tests/support/WaitUntil.h"

namespace Testing {

using Brenk::CONNECTED;
using Brenk::CREATED;
using Brenk::DISCONNECTED;
using Brenk::FAULTED;
using Brenk::NOT_PRESENT;
using Brenk::READY;
using Brenk::VirtualGateway;

// Whether `call` throws a pointer to a new exception of this type; it is freed.
template <typename Exception, typename Call>
bool ThrowsNew(Call call) {
    try {
        call();
    } catch (std::exception* thrown) {
        const std::unique_ptr<std::exception> exception(thrown);
        return dynamic_cast<Exception*>(thrown) != nullptr;
    }
    return false;
}

// A builder that refuses to build.
class RefusingBuilder : public Brenk::Messages::BrenkMessageBuilder {
  public:
    RefusingBuilder() : BrenkMessageBuilder(0, 1) {}
    Brenk::Messages::BrenkMessage* BuildBaseMessage(std::uint32_t, std::uint8_t,
                                                    Brenk::Messages::BrenkMessagePayload*) override {
        return nullptr;
    }
};

struct StateChange {
    Brenk::VirtualGateway* gateway;
    Brenk::VirtualGatewayStatuses from;
    Brenk::VirtualGatewayStatuses to;
    void* context;
    std::thread::id thread;
    bool underLock;  // of one of the gateway's guards
};

struct ReceivedResponse {
    Brenk::VirtualGateway* gateway;
    bool isNull;
    std::string requestID;
    int requestCode;
    std::uint32_t responseCode;
    std::optional<Brenk::Messages::BrenkGetStatusPayload::StatusBytes> status;
    void* context;
    std::thread::id thread;
    bool underLock;  // of one of the gateway's guards
};

struct ReceivedEvent {
    Brenk::VirtualGateway* gateway;
    int type;
    int deviceAddress;
    std::string data;
    std::uint32_t reserved;
    void* context;
    std::thread::id thread;
    bool underLock;  // of one of the gateway's guards
};

using StateSteps = std::vector<std::pair<Brenk::VirtualGatewayStatuses, Brenk::VirtualGatewayStatuses>>;

// A gateway's owner: takes what the callbacks hand over and remembers it. One at a time in the process, because the
// callbacks have no other way to it than the context, which the tests choose. The hooks run inside the callbacks and
// are set before the gateway connects.
class Owner {
  public:
    Owner();
    ~Owner();
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;

    // With all three callbacks, ID 12 and `context`.
    static Brenk::GatewayOwner Callbacks(void* context);

    std::vector<StateChange> StateChanges() const;
    StateSteps Steps() const;
    std::vector<ReceivedResponse> Responses() const;
    std::vector<ReceivedEvent> Events() const;

    // Wait until there are so many, or more.
    bool WaitForStateChanges(std::size_t count) const;
    bool WaitForResponses(std::size_t count) const;
    bool WaitForEvents(std::size_t count) const;

    std::function<void(const StateChange&)> onStateChanged;
    std::function<void(const ReceivedResponse&)> onResponse;
    std::function<void(const ReceivedEvent&)> onEvent;

  private:
    static void StateChanged(Brenk::VirtualGateway* gateway, Brenk::VirtualGatewayStatuses oldStatus,
                             Brenk::VirtualGatewayStatuses newStatus, void* context);
    static void ResponseReceived(Brenk::VirtualGateway* gateway,
                                 Brenk::Messages::VG::VirtualGatewayResponseMessage* response, void* context);
    static void EventReceived(Brenk::VirtualGateway* gateway, Brenk::Messages::VG::VirtualGatewayEventMessage* event,
                              void* context);

    // Remembers what came among the others of its kind, and calls the hook.
    template <typename Received>
    void Note(const Received& received, std::vector<Received>& others,
              const std::function<void(const Received&)>& hook);

    mutable std::mutex mutex_;
    std::vector<StateChange> stateChanges_;
    std::vector<ReceivedResponse> responses_;
    std::vector<ReceivedEvent> events_;
};

// A gateway object, its owner and the fake on the other side of the socket.
//
// The send thread stands at a gate until StartSending(): so its first cycle, in which it queues a sequence refresh of
// its own, comes after everything that the test has queued.
class GatewayTest : public ::testing::Test {
  protected:
    using BuilderPointer = std::shared_ptr<Brenk::Messages::BrenkMessageBuilder>;

    // The gateway has a builder whose counters begin as those of every new gateway, or the given one, if any.
    GatewayTest();
    explicit GatewayTest(BuilderPointer builder);
    ~GatewayTest() override;

    void StartSending();

    // Connects so that the gateway is READY at once, and takes the connection on the fake's side.
    void ConnectReady();

    // Starts sending and waits until the first sequence refresh has been sent: from then on nothing is sent for
    // 27 s but what the test queues. Needs a connection.
    void PassFirstRefresh();

    // ConnectReady and PassFirstRefresh.
    void BeReady();

    // As the Mux does: from now on reconnects on the thread that reports a fault.
    void ReconnectWhenFaulted();

    // Queues a status request for lock 5 and returns the frame that reaches the fake once both counters have moved on.
    Bytes SendStatusRequest(const std::string& id);

    // Fails unless lines of these severities that end in exactly these texts stand in the log in this order; others may
    // stand between.
    void ExpectInOrder(const std::vector<CapturedLog::Line>& expected) const;

    // Any address that tells one context from another.
    void* Context(std::size_t number);

    CapturedLog log_;
    Owner owner_;
    FakeGateway fake_;
    FakeConnection connection_;
    const BuilderPointer builder_;
    LogGate sendingGate_{"Send thread spawned."};
    std::unique_ptr<Brenk::VirtualGateway> gateway_;

  private:
    std::array<char, 8> contexts_{};
};

}  // namespace Testing
