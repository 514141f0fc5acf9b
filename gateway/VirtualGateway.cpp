#include "gateway/VirtualGateway.h"

#include <utility>

#include "diagnostics/Log.h"
#include "messages/InvalidArgumentException.h"
#include "messages/NullObjectException.h"
#include "threading/OwnerBlock.h"

namespace Brenk {
namespace {

constexpr std::uint32_t kInitialSequenceCounter = 0;
constexpr std::uint8_t kInitialReferenceID = 1;

std::string CheckedAddress(std::string ipAddress) {
    if (ipAddress.empty()) {
        throw new NullObjectException;
    }
    return ipAddress;
}

std::uint32_t CheckedPort(std::uint32_t port) {
    if (port == 0) {
        throw new InvalidArgumentException;
    }
    return port;
}

}  // namespace

VirtualGateway::VirtualGateway(std::string ipAddress, std::uint32_t port,
                               std::shared_ptr<Messages::BrenkMessageBuilder> builder)
    : ipAddress_(CheckedAddress(std::move(ipAddress))), port_(CheckedPort(port)), builder_(std::move(builder)) {
    InitThreads();
}

VirtualGateway::VirtualGateway(std::string ipAddress, std::uint32_t port)
    : VirtualGateway(std::move(ipAddress), port,
                     std::make_shared<Messages::BrenkMessageBuilder>(kInitialSequenceCounter, kInitialReferenceID)) {}

VirtualGateway::VirtualGateway(std::string ipAddress) : VirtualGateway(std::move(ipAddress), kDefaultPort) {}

VirtualGateway::~VirtualGateway() {
    MUX_OPERATION();
    MUX_LOG(plog::verbose) << "Virtual gateway destructor called.";
    ClearCallbacks();
    sequenceCounterKnown_ = false;
    stop_.Stop();
    if (const SocketPointer socket = CurrentSocket()) {
        socket->Close();
    }
    for (const auto* thread : {&readThread_, &sendThread_}) {
        if (*thread != nullptr) {
            (*thread)->Join();
        }
    }
}

bool VirtualGateway::InitThreads() {
    MUX_OPERATION();
    readThread_ = std::make_unique<Threading::Thread>(readThreadProc);
    sendThread_ = std::make_unique<Threading::Thread>(sendThreadProc);
    if (!Threading::StartWithOwner(*sendThread_, this)) {
        MUX_LOG(plog::error) << "Cannot spawn Send theread.";
        ThreadsDestroy();
        return false;
    }
    if (!Threading::StartWithOwner(*readThread_, this)) {
        MUX_LOG(plog::error) << "Cannot spawn Read theread.";
        ThreadsDestroy();
        return false;
    }
    return true;
}

// A send thread that runs already is stopped first, because it uses the gateway.
void VirtualGateway::ThreadsDestroy() {
    stop_.Stop();
    sendThread_->Join();
    readThread_.reset();
    sendThread_.reset();
}

void VirtualGateway::SetOwner(GatewayOwner owner) {
    ReplaceOwner(std::move(owner));
    queue_.Start();
}

void VirtualGateway::ReplaceOwner(GatewayOwner owner) {
    const auto replacement = std::make_shared<const GatewayOwner>(std::move(owner));
    owner_.With([&](std::shared_ptr<const GatewayOwner>& current) { current = replacement; });
}

// Identity and context stay: a thread that is still at work uses both.
void VirtualGateway::ClearCallbacks() {
    GatewayOwner owner = *Owner();
    owner.stateChanged = nullptr;
    owner.responseReceived = nullptr;
    owner.eventReceived = nullptr;
    ReplaceOwner(std::move(owner));
}

std::shared_ptr<const GatewayOwner> VirtualGateway::Owner() const {
    return owner_.With([](const std::shared_ptr<const GatewayOwner>& current) { return current; });
}

std::int32_t VirtualGateway::ID() const {
    return Owner()->id;
}

std::string VirtualGateway::Description() const {
    return Owner()->description;
}

const std::string& VirtualGateway::IpAddress() const {
    return ipAddress_;
}

std::uint32_t VirtualGateway::Port() const {
    return port_;
}

VirtualGatewayStatuses VirtualGateway::Status() const {
    return status_;
}

bool VirtualGateway::IsSequenceCounterKnown() const {
    return sequenceCounterKnown_;
}

std::time_t VirtualGateway::LastSendTime() const {
    return queue_.LastSendTime();
}

}  // namespace Brenk
