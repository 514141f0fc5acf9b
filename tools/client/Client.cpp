#include "tools/client/Client.h"

#include <utility>

#include "tools/client/Connection.h"
#include "tools/client/Packet.h"

namespace MuxClient {

Client::Client(const MuxAddress& address, Timeout timeout)
    : defaultTimeout_(DefaultTimeout(address)),
      connection_(std::make_unique<Connection>(address, timeout.value_or(defaultTimeout_))) {}

Client::~Client() = default;

void Client::OnEvent(EventHandler handler) {
    connection_->OnEvent(std::move(handler));
}

void Client::Send(const Request& request, AnswerHandler handler, Timeout timeout) {
    connection_->Requests().Add(request, std::move(handler), timeout.value_or(defaultTimeout_));
}

void Client::SendOnly(const Request& request, Timeout timeout) {
    connection_->Send(BuildPacket(request.text));
    connection_->Flush(timeout.value_or(defaultTimeout_));
}

bool Client::Wait(std::chrono::milliseconds duration) {
    return connection_->Wait(duration);
}

std::optional<Message> Client::Ask(const Request& request, Timeout timeout) {
    return Ask(request, timeout, timeout.value_or(defaultTimeout_), [] {});
}

std::optional<Message> Client::Ask(const Request& request, Timeout timeout, std::chrono::milliseconds period,
                                   const std::function<void()>& whileWaiting) {
    bool done = false;
    std::optional<Message> answer;
    const auto keep = [&](const std::optional<Message>& received) {
        answer = received;
        done = true;
    };
    Send(request, keep, timeout);
    try {
        while (!done) {
            whileWaiting();
            connection_->Wait(period);
        }
    } catch (...) {
        // The answer may still come, and nothing of this call is there any more then.
        connection_->Requests().Forget(request.id);
        throw;
    }
    return answer;
}

}  // namespace MuxClient
