#include "tools/gateway-simulator/FrameText.h"

#include <sstream>

#include "tools/gateway-simulator/FaultNames.h"
#include "tools/gateway-simulator/LockCommands.h"
#include "tools/gateway-simulator/ProtocolCodes.h"

namespace Simulator {
namespace {

constexpr std::size_t kEventDataOffset = 8;

std::string DescribeCode(std::uint8_t code) {
    const LockCommand* command = FindLockCommand(code);
    if (command == nullptr) {
        return "code " + std::to_string(code);
    }
    return command->name + std::string((code & kAnswersEventBit) != 0 ? " (event)" : "");
}

std::string DescribePayload(const Bytes& payload) {
    return payload.empty() ? "" : " payload " + ToHex(payload);
}

// Results other than OK with their number; behind result 7 the counter that came with it.
std::string DescribeResult(const Bytes& payload) {
    const std::uint8_t result = payload.at(0);
    std::ostringstream text;
    text << ResultName(result);
    if (result != static_cast<std::uint8_t>(Result::kOk)) {
        text << " (" << int{result} << ")";
    }
    if (payload.size() > 1) {
        text << " counter 0x" << ToHex(Bytes(payload.begin() + 1, payload.end()));
    }
    return text.str();
}

std::string DescribeFaults(const std::vector<Fault>& faults) {
    std::string text;
    for (const Fault& fault : faults) {
        text += " [" + DescribeFault(fault) + "]";
    }
    return text;
}

}  // namespace

std::string DescribeReceived(const ReceivedFrame& received) {
    std::ostringstream text;
    text << "-> ";
    if (received.verdict != Verdict::kGood) {
        text << received.bytes.size() << " bytes, " << VerdictText(received.verdict) << ": " << ToHex(received.bytes);
        return text.str();
    }
    const Frame& frame = received.frame;
    text << DescribeCode(frame.code) << " lock " << frame.deviceAddress << " seq " << frame.sequenceCounter << " ref "
         << int{frame.referenceId} << DescribePayload(frame.payload);
    return text.str();
}

std::string DescribeAnswer(const Frame& answer, const std::vector<Fault>& faults) {
    std::ostringstream text;
    text << "<- " << (answer.code == kResultAnswer ? DescribeResult(answer.payload) : "STATUS " + ToHex(answer.payload))
         << " lock " << answer.deviceAddress << " ref " << int{answer.referenceId} << DescribeFaults(faults);
    return text.str();
}

std::string DescribeEvent(const Frame& event) {
    const Bytes data(event.payload.begin() + kEventDataOffset, event.payload.end());
    std::ostringstream text;
    text << "<- " << (event.code == kPinEvent ? "PIN" : "card") << " event " << int{event.code} << " lock "
         << event.deviceAddress << " data " << ToHex(data);
    return text.str();
}

}  // namespace Simulator
