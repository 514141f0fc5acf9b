#include "tools/gateway-simulator/Gateway.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Simulator {
namespace {

// The result that a frame with a flaw is answered with; nothing for one that is not answered at all, because it
// cannot be told what it was meant to be.
std::optional<Result> ResultOfFlaw(Verdict verdict) {
    switch (verdict) {
        case Verdict::kHeaderVersion:
            return Result::kUnknownHeaderVersion;
        case Verdict::kReserved:
            return Result::kUnexpected;
        default:
            return std::nullopt;
    }
}

ReceivedFrame Describe(const Session& session, const FrameCutter::Chunk& chunk) {
    ReceivedFrame received;
    received.bytes = chunk.bytes;
    received.arrival = std::chrono::steady_clock::now();
    received.connection = session.Number();
    received.verdict = Verdict::kMagic;
    if (chunk.isFrame) {
        const DecodedFrame decoded = DecodeFrame(chunk.bytes);
        received.verdict = decoded.verdict;
        received.frame = decoded.frame;
    }
    return received;
}

Bytes Join(const std::vector<Bytes>& pieces) {
    Bytes joined;
    for (const Bytes& piece : pieces) {
        joined.insert(joined.end(), piece.begin(), piece.end());
    }
    return joined;
}

void Transmit(Session& session, const Delivery& delivery) {
    if (delivery.holdForNext) {
        session.Hold(Join(delivery.writes));
    } else {
        for (const Bytes& bytes : delivery.writes) {
            session.Send(bytes, delivery.pause);
        }
    }
    if (delivery.ending == Delivery::Ending::kClose) {
        session.CloseWhenSent();
    } else if (delivery.ending == Delivery::Ending::kReset) {
        session.Reset();
    }
}

Observer& ObserverOf(const SimulatorOptions& options) {
    static Observer silent;
    return options.observer == nullptr ? silent : *options.observer;
}

}  // namespace

Gateway::Gateway(asio::io_context& loop, const SimulatorOptions& options, FrameLog& log)
    : loop_(loop),
      options_(options),
      observer_(ObserverOf(options)),
      log_(log),
      model_(options.counter),
      listener_(loop, [this](asio::ip::tcp::socket socket) { OnConnection(std::move(socket)); }) {
    for (const std::uint32_t address : options.locks) {
        AddLock(Lock(address, options.whitelistCapacity));
    }
    for (const Lock& lock : options.preparedLocks) {
        AddLock(lock);
    }
}

void Gateway::Start() {
    listener_.Open(options_.host, options_.port);
    // A gateway that is started again keeps its port.
    options_.port = listener_.Port();
}

void Gateway::Stop() {
    listener_.Close();
    CloseConnections();
}

bool Gateway::RaiseCard(std::uint32_t address, const Bytes& card, std::uint8_t code) {
    return IsConnected() && SendEvent(events_.Card(address, card, code));
}

bool Gateway::RaisePin(std::uint32_t address, std::string_view digits) {
    return IsConnected() && SendEvent(events_.Pin(address, digits));
}

bool Gateway::SendEvent(const Frame& event) {
    if (Lock* lock = model_.FindLock(event.deviceAddress)) {
        lock->EventRaised(event.code);
    }
    observer_.EventSent(event);
    return SendRaw(EncodeFrame(event));
}

bool Gateway::SendRaw(const Bytes& bytes) {
    if (sessions_.empty()) {
        return false;
    }
    sessions_.back()->Send(bytes);
    return true;
}

void Gateway::CloseConnections() {
    for (const std::shared_ptr<Session>& session : std::exchange(sessions_, {})) {
        session->Close();
    }
}

void Gateway::ResetConnections() {
    for (const std::shared_ptr<Session>& session : std::exchange(sessions_, {})) {
        session->Reset();
    }
}

GatewayStatus Gateway::Status() const {
    return {Port(), IsConnected(), model_.Counter(), model_.LockStatuses(Lock::Clock::now()), faults_.Faults()};
}

bool Gateway::AddLock(Lock lock) {
    if (options_.whitelists != nullptr) {
        options_.whitelists->LoadInto(lock);
    }
    return model_.AddLock(lock);
}

void Gateway::KeepWhitelists() {
    if (options_.whitelists == nullptr) {
        return;
    }
    try {
        options_.whitelists->Keep(model_.Locks());
    } catch (const std::runtime_error& error) {
        observer_.Failed(error.what());
    }
}

void Gateway::OnConnection(asio::ip::tcp::socket socket) {
    Session::Handlers handlers;
    handlers.received = [this](Session& session, const FrameCutter::Chunk& chunk) { OnChunk(session, chunk); };
    handlers.ended = [this](Session& session, const std::string& reason) { OnEnded(session, reason); };
    ++connectionCount_;
    sessions_.push_back(std::make_shared<Session>(std::move(socket), connectionCount_, std::move(handlers)));
    observer_.Connected(sessions_.back()->Peer());
    sessions_.back()->Start();
}

void Gateway::OnEnded(const Session& session, const std::string& reason) {
    sessions_.erase(std::remove_if(sessions_.begin(), sessions_.end(),
                                   [&](const std::shared_ptr<Session>& other) { return other.get() == &session; }),
                    sessions_.end());
    observer_.Disconnected(session.Peer(), reason);
}

void Gateway::OnChunk(Session& session, const FrameCutter::Chunk& chunk) {
    const ReceivedFrame received = Describe(session, chunk);
    observer_.Received(received);
    if (received.verdict == Verdict::kGood || ResultOfFlaw(received.verdict)) {
        Answer(session, received);
    }
    log_.Add(received);
}

void Gateway::Answer(Session& session, const ReceivedFrame& received) {
    const std::optional<Result> flaw = ResultOfFlaw(received.verdict);
    const Frame answer =
        flaw ? model_.AnswerResult(received.frame, static_cast<std::uint8_t>(*flaw)) : AnswerGoodFrame(received.frame);
    KeepWhitelists();
    const std::vector<Fault> faults = faults_.Take(answer.deviceAddress);
    observer_.Answered(answer, faults);
    Deliver(session, PlanDelivery(answer, faults));
}

Frame Gateway::AnswerGoodFrame(const Frame& request) {
    if (!model_.AcceptCounter(request.sequenceCounter)) {
        return model_.AnswerCounterError(request);
    }
    if (const std::optional<Fault> forced = faults_.TakeForcedResult(request.deviceAddress)) {
        return model_.AnswerResult(request, forced->Byte());
    }
    return model_.AnswerRequest(request, Lock::Clock::now());
}

void Gateway::Deliver(Session& session, const Delivery& delivery) {
    if (delivery.delay.count() == 0) {
        Transmit(session, delivery);
        return;
    }
    auto timer = std::make_shared<asio::steady_timer>(loop_, delivery.delay);
    timer->async_wait([timer, delivery, weak = session.weak_from_this()](const asio::error_code&) {
        if (const std::shared_ptr<Session> stillThere = weak.lock()) {
            Transmit(*stillThere, delivery);
        }
    });
}

}  // namespace Simulator
