// The life of the Mux: its threads and its flags.

#include "mux/BrenkMux.h"

#include <chrono>
#include <utility>

#include "diagnostics/Log.h"
#include "threading/CatchAll.h"
#include "threading/StopFlag.h"
#include "threading/Thread.h"

namespace Mux {
namespace {

using Brenk::Net::ServerSocket;
using Threading::MutexGuard;

constexpr std::chrono::milliseconds kPassPeriod{1};
constexpr int kDeliveryTimeout = 5;

Brenk::GatewayOwner CallbacksOf(BrenkMux* mux) {
    Brenk::GatewayOwner owner;
    owner.context = mux;
    owner.stateChanged = BrenkMux::VirtualGatewayStateChangedCallback;
    owner.responseReceived = BrenkMux::VirtualGatewayResponseReceivedCallback;
    owner.eventReceived = BrenkMux::VirtualGatewayEventReceivedCallback;
    return owner;
}

}  // namespace

BrenkMux::BrenkMux() : BrenkMux(ServerSocket::kDefaultPort) {}

BrenkMux::BrenkMux(int port) : port_(port), gateways_(CallbacksOf(this)) {
    InitMutexes();
}

BrenkMux::~BrenkMux() {
    StopAndJoin();
    gateways_.Clear();
    clients_.Close();
    DestroyMutexes();
}

void BrenkMux::StopAndJoin() {
    running_ = false;
    for (const auto* thread : {&mainThread_, &gatewaysThread_}) {
        if (*thread != nullptr) {
            (*thread)->Join();
        }
    }
}

void BrenkMux::InitMutexes() {
    MUX_OPERATION();
    MUX_LOG(plog::verbose) << "Initializing thread mutexes for multithread sync.";
    MUX_LOG(plog::verbose) << "Mutexes for multithread initialized.";
}

void BrenkMux::DestroyMutexes() {
    MUX_OPERATION();
    MUX_LOG(plog::verbose) << "Destroying thread mutexes for multithread sync.";
    requests_.DestroyMutex();
    answers_.DestroyMutex();
    pending_.DestroyMutex();
    MUX_LOG(plog::verbose) << "Thread mutexes destroyed.";
}

void BrenkMux::Start() {
    MUX_OPERATION();
    if (running_) {
        return;
    }
    mainThread_ = std::make_unique<Threading::Thread>(mainThreadProc);
    running_ = true;
    if (!Threading::StartWithOwner(*mainThread_, this)) {
        MUX_LOG(plog::error) << "Cannot spawn main thread. Shutdown Mux.";
        ForceShutdown();
        return;
    }
    MUX_LOG(plog::info) << "Main thread spawned.";
}

void BrenkMux::Wait() {
    MUX_OPERATION();
    if (mainThread_ == nullptr) {
        return;
    }
    Threading::CatchAll([this] { mainThread_->Join(); }, [](const char* text) { MUX_LOG(plog::error) << text; });
}

void BrenkMux::ForceShutdown() {
    MUX_OPERATION();
    MUX_LOG(plog::verbose) << "Force shutdown initiated";
    running_ = false;
}

void BrenkMux::Stop() {
    running_ = false;
}

void* BrenkMux::mainThreadProc(void* muxBlock) {
    MUX_OPERATION();
    MUX_LOG(plog::debug) << "Mux main thread is now running on the main process.";
    auto* const mux = Threading::TakeOwner<BrenkMux>(muxBlock);
    if (mux == nullptr) {
        pthread_exit(nullptr);
    }
    mux->RunMainThread();
    MUX_LOG(plog::warning) << "Mux main thread is closing.";
    pthread_exit(nullptr);
}

void BrenkMux::RunMainThread() {
    gatewaysThread_ = std::make_unique<Threading::Thread>(gatewaysThreadProc);
    if (!Threading::StartWithOwner(*gatewaysThread_, this)) {
        MUX_LOG(plog::error) << "Cannot spawn virtual gateways thread. Shutdown Mux.";
        ForceShutdown();
        return;
    }
    MUX_LOG(plog::info) << "Virtual gateways thread spawned.";

    if (!clients_.IsOpened() && !OpenServerSocket()) {
        ForceShutdown();
    }
    MUX_LOG(plog::verbose) << "All modules threads spawned. Starting main thread control loop.";
    while (running_) {
        Threading::CatchAll([this] { SendMessageToClientIfAvailable(); },
                            [](const char* text) { MUX_LOG(plog::error) << "Exception in the main loop: " << text; });
        Threading::SleepFor(kPassPeriod);
    }
}

bool BrenkMux::OpenServerSocket() {
    auto serverSocket = std::make_unique<ServerSocket>(port_);
    serverSocket->SetContext(this);
    serverSocket->SetClientAcceptedCallback(ServerSocketClientAccepted);
    serverSocket->SetDataReceivedCallback(ServerSocketClientDataReceived);
    serverSocket->SetClientDeletedCallback(ServerSocketClientDeleted);
    serverSocket->SetDescriptorsForOthersCallback(DescriptorsForGateways);
    return clients_.Open(std::move(serverSocket));
}

void* BrenkMux::gatewaysThreadProc(void* muxBlock) {
    MUX_OPERATION();
    auto* const mux = Threading::TakeOwner<BrenkMux>(muxBlock);
    if (mux == nullptr) {
        pthread_exit(nullptr);
    }
    mux->RunGatewaysThread();
    MUX_LOG(plog::debug) << "GatewaysThreadProc thread procedure closing.";
    pthread_exit(nullptr);
}

void BrenkMux::RunGatewaysThread() {
    while (running_) {
        Threading::CatchAll(
            [this] {
                ConnectVirtualGateways();
                PopNextMessage();
            },
            [](const char* text) { MUX_LOG(plog::error) << "Exception in the gateways loop: " << text; });
        Threading::SleepFor(kPassPeriod);
    }
}

bool BrenkMux::SendMessageToClientIfAvailable() {
    MUX_OPERATION();
    MutexGuard guard = answers_.NewGuard();
    if (!guard.Lock(kDeliveryTimeout)) {
        MUX_LOG(plog::warning) << "Cannot acquire resource mutex for send message to client queue.";
        return false;
    }
    return delivery_.DeliverHead();
}

void BrenkMux::ServerSocketClientAccepted(int descriptor, void* context) {
    MUX_OPERATION();
    if (context == nullptr) {
        return;
    }
    MUX_LOG(plog::verbose) << "Data callback hit.";
    MUX_LOG(plog::debug) << "Client with FD " << descriptor << " accepted.";
}

void BrenkMux::ServerSocketClientDeleted(int descriptor, void* context) {
    MUX_OPERATION();
    if (context == nullptr) {
        return;
    }
    MUX_LOG(plog::debug) << "Client deleted from list. FD " << descriptor;
}

}  // namespace Mux
