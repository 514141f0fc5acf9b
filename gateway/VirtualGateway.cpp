#include "gateway/VirtualGateway.h"

#include <utility>

#include "diagnostics/Log.h"
#include "threading/Thread.h"

namespace Brenk {
namespace {

constexpr std::uint32_t kInitialSequenceCounter = 0;
constexpr std::uint8_t kInitialReferenceID = 1;

}  // namespace

VirtualGateway::VirtualGateway(std::string ipAddress, std::uint32_t port,
                               std::shared_ptr<Messages::BrenkMessageBuilder> builder)
    : builder_(std::move(builder)),
      connection_(std::move(ipAddress), port, {SocketSendError, SocketRecvError, this}, owner_) {
    InitThreads();
}

VirtualGateway::VirtualGateway(std::string ipAddress, std::uint32_t port)
    : VirtualGateway(std::move(ipAddress), port,
                     std::make_shared<Messages::BrenkMessageBuilder>(kInitialSequenceCounter, kInitialReferenceID)) {}

VirtualGateway::VirtualGateway(std::string ipAddress) : VirtualGateway(std::move(ipAddress), kDefaultPort) {}

VirtualGateway::~VirtualGateway() {
    MUX_OPERATION();
    MUX_LOG(plog::verbose) << "Virtual gateway destructor called.";
    owner_.ClearCallbacks();
    responses_.ForgetSequenceCounter();
    threads_.stop.Stop();
    connection_.CloseSocket();
    for (const auto* thread : {&threads_.read, &threads_.send}) {
        if (*thread != nullptr) {
            (*thread)->Join();
        }
    }
}

bool VirtualGateway::InitThreads() {
    MUX_OPERATION();
    threads_.read = std::make_unique<Threading::Thread>(readThreadProc);
    threads_.send = std::make_unique<Threading::Thread>(sendThreadProc);
    if (!Threading::StartWithOwner(*threads_.send, this)) {
        MUX_LOG(plog::error) << "Cannot spawn Send theread.";
        ThreadsDestroy();
        return false;
    }
    if (!Threading::StartWithOwner(*threads_.read, this)) {
        MUX_LOG(plog::error) << "Cannot spawn Read theread.";
        ThreadsDestroy();
        return false;
    }
    return true;
}

// A send thread that runs already is stopped first, because it uses the gateway.
void VirtualGateway::ThreadsDestroy() {
    threads_.stop.Stop();
    threads_.send->Join();
    threads_.read.reset();
    threads_.send.reset();
}

void VirtualGateway::SetOwner(GatewayOwner owner) {
    owner_.Set(std::move(owner));
    queue_.Start();
}

std::int32_t VirtualGateway::ID() const {
    return owner_.Current()->id;
}

std::string VirtualGateway::Description() const {
    return owner_.Current()->description;
}

const std::string& VirtualGateway::IpAddress() const {
    return connection_.IpAddress();
}

std::uint32_t VirtualGateway::Port() const {
    return connection_.Port();
}

VirtualGatewayStatuses VirtualGateway::Status() const {
    return connection_.Status();
}

bool VirtualGateway::IsSequenceCounterKnown() const {
    return responses_.IsSequenceCounterKnown();
}

std::time_t VirtualGateway::LastSendTime() const {
    return queue_.LastSendTime();
}

}  // namespace Brenk
