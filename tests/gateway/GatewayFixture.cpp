#include "tests/gateway/GatewayFixture.h"

#include <algorithm>
#include <utility>

#include "tests/gateway/ThreadFaults.h"

namespace Testing {
namespace {

using Brenk::VirtualGatewayStatuses;
using Brenk::Messages::VG::VirtualGatewayEventMessage;
using Brenk::Messages::VG::VirtualGatewayResponseMessage;

// Set while no gateway exists.
Owner* currentOwner = nullptr;

}  // namespace

Owner::Owner() {
    currentOwner = this;
}

Owner::~Owner() {
    currentOwner = nullptr;
}

Brenk::GatewayOwner Owner::Callbacks(void* context) {
    Brenk::GatewayOwner callbacks;
    callbacks.id = 12;
    callbacks.description = "Front door";
    callbacks.context = context;
    callbacks.stateChanged = StateChanged;
    callbacks.responseReceived = ResponseReceived;
    callbacks.eventReceived = EventReceived;
    return callbacks;
}

template <typename Received>
void Owner::Note(const Received& received, std::vector<Received>& others,
                 const std::function<void(const Received&)>& hook) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        others.push_back(received);
    }
    if (hook) {
        hook(received);
    }
}

void Owner::StateChanged(VirtualGateway* gateway, VirtualGatewayStatuses oldStatus, VirtualGatewayStatuses newStatus,
                         void* context) {
    const StateChange change = {gateway, oldStatus, newStatus, context, std::this_thread::get_id(), HoldsTimedLock()};
    currentOwner->Note(change, currentOwner->stateChanges_, currentOwner->onStateChanged);
}

void Owner::ResponseReceived(VirtualGateway* gateway, VirtualGatewayResponseMessage* response, void* context) {
    const std::unique_ptr<VirtualGatewayResponseMessage> owned(response);
    ReceivedResponse received = {
        gateway, owned == nullptr, "", -1, 0, std::nullopt, context, std::this_thread::get_id(), HoldsTimedLock()};
    if (owned != nullptr) {
        received.requestID = owned->requestID;
        received.requestCode = owned->requestCode;
        received.responseCode = owned->responseCode;
        if (owned->statusPayload != nullptr) {
            received.status = owned->statusPayload->StatusData();
        }
    }
    currentOwner->Note(received, currentOwner->responses_, currentOwner->onResponse);
}

void Owner::EventReceived(VirtualGateway* gateway, VirtualGatewayEventMessage* event, void* context) {
    const std::unique_ptr<VirtualGatewayEventMessage> owned(event);
    const ReceivedEvent received = {gateway,         owned->eventType, owned->deviceAddress,       owned->data,
                                    owned->reserved, context,          std::this_thread::get_id(), HoldsTimedLock()};
    currentOwner->Note(received, currentOwner->events_, currentOwner->onEvent);
}

std::vector<StateChange> Owner::StateChanges() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return stateChanges_;
}

StateSteps Owner::Steps() const {
    StateSteps steps;
    for (const StateChange& change : StateChanges()) {
        steps.emplace_back(change.from, change.to);
    }
    return steps;
}

std::vector<ReceivedResponse> Owner::Responses() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return responses_;
}

std::vector<ReceivedEvent> Owner::Events() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return events_;
}

bool Owner::WaitForStateChanges(std::size_t count) const {
    return WaitUntil([&] { return StateChanges().size() >= count; }, kDeadline);
}

bool Owner::WaitForResponses(std::size_t count) const {
    return WaitUntil([&] { return Responses().size() >= count; }, kDeadline);
}

bool Owner::WaitForEvents(std::size_t count) const {
    return WaitUntil([&] { return Events().size() >= count; }, kDeadline);
}

GatewayTest::GatewayTest() : GatewayTest(std::make_shared<Brenk::Messages::BrenkMessageBuilder>(0, 1)) {}

GatewayTest::GatewayTest(BuilderPointer builder) : builder_(std::move(builder)) {
    fake_.Listen();
    gateway_ = std::make_unique<VirtualGateway>("127.0.0.1", fake_.Port(), builder_);
    gateway_->SetOwner(Owner::Callbacks(Context(0)));
}

GatewayTest::~GatewayTest() {
    sendingGate_.Open();
    gateway_.reset();
}

void GatewayTest::StartSending() {
    sendingGate_.Open();
}

void GatewayTest::ConnectReady() {
    ASSERT_TRUE(gateway_->Connect(false));
    connection_ = fake_.Accept();
}

void GatewayTest::PassFirstRefresh() {
    StartSending();
    const std::uint8_t referenceID = builder_->ReferenceID();
    ASSERT_EQ(DeviceAddressOf(connection_.ReceiveFrame()), kRefreshAddress);
    ASSERT_TRUE(WaitUntil([&] { return builder_->ReferenceID() != referenceID; }));
}

void GatewayTest::BeReady() {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    ASSERT_NO_FATAL_FAILURE(PassFirstRefresh());
}

void GatewayTest::ReconnectWhenFaulted() {
    owner_.onStateChanged = [](const StateChange& change) {
        if (change.to == FAULTED) {
            change.gateway->Disconnect();
            change.gateway->Connect(false);
        }
    };
}

Bytes GatewayTest::SendStatusRequest(const std::string& id) {
    const std::uint8_t referenceID = builder_->ReferenceID();
    EXPECT_TRUE(gateway_->GetNodeStatus(id, 5, Context(1)));
    Bytes frame = connection_.ReceiveLockFrame();
    EXPECT_FALSE(frame.empty());
    EXPECT_TRUE(WaitUntil([&] { return builder_->ReferenceID() != referenceID; }));
    return frame;
}

void GatewayTest::ExpectInOrder(const std::vector<CapturedLog::Line>& expected) const {
    const auto lines = log_.Lines();
    auto position = lines.begin();
    for (const CapturedLog::Line& wanted : expected) {
        position = std::find_if(position, lines.end(), [&](const CapturedLog::Line& line) {
            const std::string end = " " + wanted.second;
            return line.first == wanted.first && line.second.size() >= end.size() &&
                   line.second.compare(line.second.size() - end.size(), end.size(), end) == 0;
        });
        ASSERT_NE(position, lines.end()) << "not there, or not in its place: " << wanted.second << '\n' << log_.Text();
        ++position;
    }
}

void* GatewayTest::Context(std::size_t number) {
    return &contexts_.at(number);
}

}  // namespace Testing
