#include "tests/system/support/ExchangeRunner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <stdexcept>

#include "tests/support/Threads.h"
#include "tools/gateway-simulator/FrameCodec.h"

namespace SystemTest {
namespace {

constexpr std::uint8_t kHighestReferenceId = 63;
// Two questions for the counter are asked at the start; both refresh the counter and use up a reference ID each.
constexpr std::uint8_t kFirstReferenceId = 3;

std::uint32_t BigEndian(const Simulator::Bytes& bytes) {
    std::uint32_t number = 0;
    for (std::size_t index = 0; index < sizeof number; ++index) {
        number = (number << 8U) | bytes.at(index);
    }
    return number;
}

}  // namespace

Simulator::Bytes FromHexText(const std::string& text) {
    const auto bytes = Simulator::FromHex(Replace(text, " ", ""));
    if (!bytes) {
        throw std::invalid_argument("no hexadecimal text: " + text);
    }
    return *bytes;
}

Simulator::Bytes WholeFrame(const ExchangeRunner::Counters& counters, const std::string& addressCodeAndPayload) {
    constexpr std::size_t kCodeOffset = 4;
    const Simulator::Bytes bytes = FromHexText(addressCodeAndPayload);
    Simulator::Frame frame;
    frame.referenceId = counters.referenceId;
    frame.sequenceCounter = counters.sequenceCounter;
    frame.deviceAddress = BigEndian(bytes);
    frame.code = bytes.at(kCodeOffset);
    frame.payload.assign(bytes.begin() + kCodeOffset + 1, bytes.end());
    return Simulator::EncodeFrame(frame);
}

Simulator::Bytes AnswerTo(const Simulator::ReceivedFrame& request, std::uint8_t result, std::uint8_t referenceBits) {
    Simulator::Frame answer = request.frame;
    answer.referenceId = static_cast<std::uint8_t>(answer.referenceId | referenceBits);
    answer.code = Simulator::kResultAnswer;
    answer.payload = {result};
    return Simulator::EncodeFrame(answer);
}

void Advance(ExchangeRunner::Counters& counters) {
    ++counters.frames;
    ++counters.sequenceCounter;
    counters.referenceId = counters.referenceId == kHighestReferenceId
                               ? std::uint8_t{1}
                               : static_cast<std::uint8_t>(counters.referenceId + 1);
}

ExchangeRunner::ExchangeRunner(MuxSystem& system) : system_(system) {
    for (std::size_t index = 0; index < system.GatewayCount(); ++index) {
        const GatewaySetup& setup = system.SetupOf(index);
        lanes_.push_back({index, std::to_string(setup.id), system.NewClient(),
                          Counters{kFirstReferenceId, setup.counter + 1, MuxSystem::kFramesAtStart}});
    }
}

void ExchangeRunner::Run(const std::vector<Exchange>& table, std::size_t gateway) {
    for (const Exchange& exchange : table) {
        SCOPED_TRACE(exchange.name + " (gateway " + lanes_.at(gateway).gatewayId + ")");
        if (!RunOne(lanes_.at(gateway), exchange)) {
            return;
        }
    }
    EXPECT_EQ(system_.Gateway(gateway).ReceivedFrames().size(), lanes_.at(gateway).next.frames)
        << "frames at gateway " << lanes_.at(gateway).gatewayId;
}

void ExchangeRunner::RunSideBySide(const std::vector<std::vector<Exchange>>& tables) {
    Testing::OnThreads(static_cast<int>(tables.size()), [&](int number) {
        const auto gateway = static_cast<std::size_t>(number);
        Run(tables.at(gateway), gateway);
    });
}

bool ExchangeRunner::RunOne(Lane& lane, const Exchange& exchange) {
    const std::string id = "request-" + lane.gatewayId + "-" + std::to_string(++lane.requests);
    const auto fill = [&](const std::string& text) { return Replace(Replace(text, "@G", lane.gatewayId), "@I", id); };
    const std::string request = fill(exchange.request);
    const std::string log = fill(exchange.log);
    const std::size_t logged = log.empty() ? 0 : system_.Mux().Count(log);

    ExpectRequest(request, exchange.schema);
    RunCommands(system_.Gateway(lane.gateway), exchange.gateway);
    const std::time_t sent = std::time(nullptr);
    lane.client.Send(request);
    if (!exchange.frame.empty() && !ExpectFrame(lane, exchange.frame)) {
        return false;
    }
    if (exchange.answer && !ExpectAnswer(lane, exchange, id, sent)) {
        return false;
    }
    if (!exchange.frame.empty() && !exchange.answer && !WaitUntilSent()) {
        ADD_FAILURE() << "never done with sending";
        return false;
    }
    if (!log.empty() && !system_.Mux().WaitFor(log, logged + 1)) {
        ADD_FAILURE() << "never logged: " << log;
        return false;
    }
    return true;
}

bool ExchangeRunner::ExpectFrame(Lane& lane, const std::string& frame) {
    const Simulator::GatewaySimulator& gateway = system_.Gateway(lane.gateway);
    if (!gateway.WaitForFrames(lane.next.frames + 1, kDeadline)) {
        ADD_FAILURE() << "no frame reaches the gateway";
        return false;
    }
    const Simulator::ReceivedFrame received = gateway.ReceivedFrames().at(lane.next.frames);
    EXPECT_EQ(Simulator::ToHex(received.bytes), Simulator::ToHex(WholeFrame(lane.next, frame)));
    Advance(lane.next);
    return true;
}

// The next request may only be built when the Mux is done with the frames that have arrived.
bool ExchangeRunner::WaitUntilSent() const {
    std::size_t frames = 0;
    for (std::size_t index = 0; index < system_.GatewayCount(); ++index) {
        frames += system_.Gateway(index).ReceivedFrames().size();
    }
    return system_.Mux().WaitFor(" Send result:", frames);
}

bool ExchangeRunner::ExpectAnswer(Lane& lane, const Exchange& exchange, const std::string& id, std::time_t sent) {
    const auto fill = [&](const std::string& text) { return Replace(Replace(text, "@G", lane.gatewayId), "@I", id); };
    const std::string received = lane.client.Receive();
    ExpectMessage(received, fill(exchange.id), {exchange.answer->code, fill(exchange.answer->data)}, sent);
    return received.front() == '{';
}

}  // namespace SystemTest
