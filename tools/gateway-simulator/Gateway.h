#pragma once

#include <asio.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/gateway-simulator/Bytes.h"
#include "tools/gateway-simulator/Delivery.h"
#include "tools/gateway-simulator/EventSource.h"
#include "tools/gateway-simulator/FaultPlan.h"
#include "tools/gateway-simulator/FrameLog.h"
#include "tools/gateway-simulator/GatewayModel.h"
#include "tools/gateway-simulator/GatewayStatus.h"
#include "tools/gateway-simulator/Listener.h"
#include "tools/gateway-simulator/Observer.h"
#include "tools/gateway-simulator/Session.h"
#include "tools/gateway-simulator/SimulatorOptions.h"

namespace Simulator {

// One gateway on its port: connects the model, the faults and the connections.
//
// Lives on the loop's thread alone; other threads use GatewaySimulator. The loop and the log must outlive it, and the
// loop must have stopped when it is destroyed. It serves several connections; unsolicited frames go to the one accepted
// last.
class Gateway {
  public:
    Gateway(asio::io_context& loop, const SimulatorOptions& options, FrameLog& log);

    // Throws std::system_error when the port cannot be opened.
    void Start();
    void Stop();

    std::uint16_t Port() const { return listener_.Port(); }
    std::size_t ConnectionCount() const { return connectionCount_; }
    bool IsConnected() const { return !sessions_.empty(); }
    GatewayStatus Status() const;

    GatewayModel& Model() { return model_; }
    FaultPlan& Faults() { return faults_; }
    EventSource& Events() { return events_; }

    // With the whitelist that is kept for it, if there is one. False when its address is taken.
    bool AddLock(Lock lock);

    // All return false without a connection, and then change nothing. A lock of that address, if any, has a pending
    // event from then on. Throw std::length_error for data too long for a frame.
    bool RaiseCard(std::uint32_t address, const Bytes& card, std::uint8_t code);
    bool RaisePin(std::uint32_t address, std::string_view digits);
    bool SendRaw(const Bytes& bytes);

    void CloseConnections();
    void ResetConnections();
    void RefuseConnections(std::chrono::milliseconds duration) { listener_.RefuseFor(duration); }

    // Passes the whitelists to their store. Call when one may have changed.
    void KeepWhitelists();

    void Notice(const std::string& text) { observer_.Notice(text); }

  private:
    bool SendEvent(const Frame& event);
    void OnConnection(asio::ip::tcp::socket socket);
    void OnEnded(const Session& session, const std::string& reason);
    void OnChunk(Session& session, const FrameCutter::Chunk& chunk);
    void Answer(Session& session, const ReceivedFrame& received);
    Frame AnswerGoodFrame(const Frame& request);
    void Deliver(Session& session, const Delivery& delivery);

    asio::io_context& loop_;
    SimulatorOptions options_;
    Observer& observer_;
    FrameLog& log_;
    GatewayModel model_;
    FaultPlan faults_;
    EventSource events_;
    Listener listener_;
    std::vector<std::shared_ptr<Session>> sessions_;
    std::size_t connectionCount_ = 0;
};

}  // namespace Simulator
