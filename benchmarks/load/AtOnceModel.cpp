#include "benchmarks/load/AtOnceModel.h"

#include <utility>

#include "tools/gateway-simulator/FrameCodec.h"
#include "tools/gateway-simulator/ProtocolCodes.h"

namespace Load {
namespace {

using Simulator::Bytes;
using Simulator::Frame;
using Simulator::Result;

constexpr std::uint32_t kLock = 5;
// Behind this address stands no lock; a status request for it asks for the sequence counter.
constexpr std::uint32_t kCounterAddress = 0x100;
constexpr std::uint8_t kStatusRequest = 1;

Bytes BigEndian(std::uint32_t number) {
    return {static_cast<std::uint8_t>(number >> 24U), static_cast<std::uint8_t>(number >> 16U),
            static_cast<std::uint8_t>(number >> 8U), static_cast<std::uint8_t>(number)};
}

}  // namespace

Bytes AtOnceModel::AnswerTo(const Frame& request) {
    Frame answer = request;
    answer.code = Simulator::kResultAnswer;
    answer.payload = ResultFor(request);
    return EncodeFrame(answer);
}

Bytes AtOnceModel::ResultFor(const Frame& request) {
    if (request.code != kStatusRequest || request.deviceAddress != kCounterAddress) {
        return {static_cast<std::uint8_t>(Result::kOk)};
    }
    if (std::exchange(gaveCounter_, true)) {
        return {static_cast<std::uint8_t>(Result::kNoRoute)};
    }
    Bytes result = BigEndian(request.sequenceCounter);
    result.insert(result.begin(), static_cast<std::uint8_t>(Result::kSequenceCounterError));
    return result;
}

Bytes AtOnceModel::CardEvent(std::uint32_t number) {
    return EncodeFrame(events_.Card(kLock, BigEndian(number), Simulator::kCardEvent));
}

}  // namespace Load
