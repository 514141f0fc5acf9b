#include "tools/gateway-simulator/GatewaySimulator.h"

#include <asio.hpp>
#include <future>
#include <system_error>
#include <thread>
#include <type_traits>

#include "tools/gateway-simulator/FrameLog.h"
#include "tools/gateway-simulator/Gateway.h"

namespace Simulator {
namespace {

// Starts a gateway; gives what speaks against it.
std::error_code StartError(Gateway& gateway) {
    try {
        gateway.Start();
        return {};
    } catch (const std::system_error& error) {
        return error.code();
    }
}

}  // namespace

// The gateway and the one thread that touches it.
class GatewaySimulator::Loop {
  public:
    explicit Loop(const SimulatorOptions& options)
        : work_(asio::make_work_guard(context_)),
          gateway_(context_, options, log_),
          thread_([this] { context_.run(); }) {}

    ~Loop() {
        Run([](Gateway& gateway) { gateway.Stop(); });
        context_.stop();
        thread_.join();
    }

    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    // Runs `task` on the gateway's thread and hands its result, or what it throws, to the caller.
    template <typename Task>
    std::invoke_result_t<Task, Gateway&> Run(Task task) {
        using Packaged = std::packaged_task<std::invoke_result_t<Task, Gateway&>()>;
        // Shared with the thread: it may still be leaving the task when the result is already here.
        const auto packaged = std::make_shared<Packaged>([&] { return task(gateway_); });
        auto result = packaged->get_future();
        asio::dispatch(context_, [packaged] { (*packaged)(); });
        return result.get();
    }

    const FrameLog& Log() const { return log_; }

  private:
    FrameLog log_;
    asio::io_context context_{1};
    asio::executor_work_guard<asio::io_context::executor_type> work_;
    Gateway gateway_;
    std::thread thread_;
};

GatewaySimulator::GatewaySimulator(const SimulatorOptions& options)
    : whitelistCapacity_(options.whitelistCapacity), loop_(std::make_unique<Loop>(options)) {}

GatewaySimulator::~GatewaySimulator() = default;

void GatewaySimulator::Start() {
    // Thrown on the caller's thread, so that nothing of it is shared with the gateway's.
    if (const std::error_code error = loop_->Run(StartError)) {
        throw std::system_error(error);
    }
}

void GatewaySimulator::Stop() {
    loop_->Run([](Gateway& gateway) { gateway.Stop(); });
}

std::uint16_t GatewaySimulator::Port() const {
    return loop_->Run([](Gateway& gateway) { return gateway.Port(); });
}

std::size_t GatewaySimulator::ConnectionCount() const {
    return loop_->Run([](Gateway& gateway) { return gateway.ConnectionCount(); });
}

bool GatewaySimulator::IsConnected() const {
    return loop_->Run([](Gateway& gateway) { return gateway.IsConnected(); });
}

GatewayStatus GatewaySimulator::Status() const {
    return loop_->Run([](Gateway& gateway) { return gateway.Status(); });
}

bool GatewaySimulator::AddLock(std::uint32_t address) {
    return AddLock(Lock(address, whitelistCapacity_));
}

bool GatewaySimulator::AddLock(const Lock& lock) {
    return loop_->Run([&](Gateway& gateway) {
        const bool added = gateway.AddLock(lock);
        gateway.KeepWhitelists();
        return added;
    });
}

bool GatewaySimulator::RemoveLock(std::uint32_t address) {
    return loop_->Run([&](Gateway& gateway) { return gateway.Model().RemoveLock(address); });
}

bool GatewaySimulator::ChangeLock(std::uint32_t address, const std::function<void(Lock& lock)>& change) {
    return loop_->Run([&](Gateway& gateway) {
        Lock* lock = gateway.Model().FindLock(address);
        if (lock != nullptr) {
            change(*lock);
            gateway.KeepWhitelists();
        }
        return lock != nullptr;
    });
}

std::optional<Lock> GatewaySimulator::FindLock(std::uint32_t address) const {
    return loop_->Run([&](Gateway& gateway) {
        const Lock* lock = gateway.Model().FindLock(address);
        return lock == nullptr ? std::nullopt : std::make_optional(*lock);
    });
}

std::vector<Lock> GatewaySimulator::Locks() const {
    return loop_->Run([](Gateway& gateway) { return gateway.Model().Locks(); });
}

std::uint32_t GatewaySimulator::Counter() const {
    return loop_->Run([](Gateway& gateway) { return gateway.Model().Counter(); });
}

void GatewaySimulator::SetCounter(std::uint32_t counter) {
    loop_->Run([&](Gateway& gateway) { gateway.Model().SetCounter(counter); });
}

bool GatewaySimulator::RaiseCard(std::uint32_t address, const Bytes& card, std::uint8_t code) {
    return loop_->Run([&](Gateway& gateway) { return gateway.RaiseCard(address, card, code); });
}

bool GatewaySimulator::RaisePin(std::uint32_t address, std::string_view digits) {
    return loop_->Run([&](Gateway& gateway) { return gateway.RaisePin(address, digits); });
}

void GatewaySimulator::SetEventDetails(const EventSource::Details& details) {
    loop_->Run([&](Gateway& gateway) { gateway.Events().SetDetails(details); });
}

bool GatewaySimulator::SendRaw(const Bytes& bytes) {
    return loop_->Run([&](Gateway& gateway) { return gateway.SendRaw(bytes); });
}

void GatewaySimulator::Inject(const Fault& fault) {
    loop_->Run([&](Gateway& gateway) { gateway.Faults().Inject(fault); });
}

void GatewaySimulator::ClearFaults() {
    loop_->Run([](Gateway& gateway) { gateway.Faults().Clear(); });
}

std::vector<Fault> GatewaySimulator::Faults() const {
    return loop_->Run([](Gateway& gateway) { return gateway.Faults().Faults(); });
}

void GatewaySimulator::CloseConnection() {
    loop_->Run([](Gateway& gateway) { gateway.CloseConnections(); });
}

void GatewaySimulator::ResetConnection() {
    loop_->Run([](Gateway& gateway) { gateway.ResetConnections(); });
}

void GatewaySimulator::RefuseConnections(std::chrono::milliseconds duration) {
    loop_->Run([&](Gateway& gateway) { gateway.RefuseConnections(duration); });
}

std::vector<ReceivedFrame> GatewaySimulator::ReceivedFrames() const {
    return loop_->Log().Snapshot();
}

bool GatewaySimulator::WaitForFrames(std::size_t count, std::chrono::milliseconds deadline) const {
    return loop_->Log().WaitFor(count, deadline);
}

void GatewaySimulator::Notice(const std::string& text) {
    loop_->Run([&](Gateway& gateway) { gateway.Notice(text); });
}

}  // namespace Simulator
