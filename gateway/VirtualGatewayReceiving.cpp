// The read thread of one gateway.

#include <chrono>

#include "diagnostics/Log.h"
#include "gateway/VirtualGateway.h"
#include "messages/Codes.h"
#include "messages/Exceptions.h"
#include "threading/CatchAll.h"
#include "threading/MutexGuard.h"
#include "threading/Thread.h"

namespace Brenk {
namespace {

using Threading::MutexGuard;

constexpr std::chrono::milliseconds kReadPeriod{300};
constexpr int kAnswerTimeout = 10;

// Neither step is a cancellation point.
void ReleaseAfterException(MutexGuard& guard, std::unique_ptr<Messages::BrenkMessage>& frame) {
    try {
        guard.Release();
        frame.reset();
    } catch (...) {
        MUX_LOG(plog::error) << "Cannot deallocate memory for message objects. Maybe already deallocated.";
    }
}

}  // namespace

void* VirtualGateway::readThreadProc(void* gatewayBlock) {
    MUX_OPERATION();
    auto* const gateway = Threading::TakeOwner<VirtualGateway>(gatewayBlock);
    MUX_LOG(plog::debug) << "Read thread spawned.";
    if (gateway == nullptr) {
        MUX_LOG(plog::error) << "CurrentGateway is null.";
        pthread_exit(nullptr);
    }
    gateway->ReadLoop();
    MUX_LOG(plog::debug) << "Closing read thread.";
    pthread_exit(nullptr);
}

void VirtualGateway::ReadLoop() {
    while (threads_.stop.SleepFor(kReadPeriod)) {
        Threading::CatchAll([this] { ReadCycle(); },
                            [this](const char* text) {
                                MUX_LOG(plog::error)
                                    << "Exception in the read loop of virtual gateway with ID " << ID() << ": " << text;
                            });
    }
}

void VirtualGateway::ReadCycle() {
    if (!connection_.IsIn({CONNECTED, READY})) {
        return;
    }
    const bool received =
        receiver_.ReceiveWith([this](std::vector<unsigned char>& bytes) { return connection_.Receive(bytes); });
    while (Messages::BrenkMessage* const frame = FetchAndTranslateMessage()) {
        const std::time_t now = std::time(nullptr);
        MUX_LOG(plog::debug) << "Managing new message";
        ManageBrenkGatewayResponse(frame, now);
    }
    if (!received) {
        ReconnectAfterPendingError();
    }
}

// Looks and acts in one: a connection that another thread has made meanwhile is not dropped for the error of the last.
void VirtualGateway::ReconnectAfterPendingError() {
    const Connection::Lock lock = connection_.Hold();
    if (!connection_.HasPendingError()) {
        return;
    }
    MUX_LOG(plog::debug) << "[VirtualGateway::readThreadProc] Socket in error. Try a reconnect.";
    Disconnect();
    Connect(true);
}

Messages::BrenkMessage* VirtualGateway::FetchAndTranslateMessage() {
    MUX_OPERATION();
    return receiver_.Next(builder_.get()).release();
}

bool VirtualGateway::IsEventMessageType(const Messages::BrenkMessage* message) {
    if (message == nullptr) {
        throw new ArgumentNullException;
    }
    return Messages::CommandCodes::IsEvent(message->PayloadType());
}

void VirtualGateway::ManageBrenkGatewayResponse(Messages::BrenkMessage* message, std::time_t receiveTime) {
    MUX_OPERATION();
    MessagePointer frame(message);
    if (frame == nullptr) {
        return;
    }
    MutexGuard guard = waitingMessagesMutex_.NewGuard();
    const auto manage = [&] {
        if (IsEventMessageType(frame.get())) {
            responses_.ManageEvent(*frame);
        } else if (guard.Lock(kAnswerTimeout)) {
            responses_.ManageAnswer(*frame, receiveTime);
        } else {
            MUX_LOG(plog::error) << "Cannot acquire Mutex of Brenk Gateway Response.";
        }
        guard.Release();
        MUX_LOG(plog::verbose) << "Clear memory for the parsed response message.";
        frame.reset();
        MUX_LOG(plog::verbose) << "Ended management.";
    };
    Threading::CatchAll(manage, [&](const char* text) {
        MUX_LOG(plog::error) << "Exception in Brenk Response message loop. Manually releasing mutexes.";
        MUX_LOG(plog::debug) << "The exception was: " << text;
        ReleaseAfterException(guard, frame);
    });
}

}  // namespace Brenk
