#include "tools/gateway-simulator/Delivery.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "tools/gateway-simulator/FrameCodec.h"

namespace Simulator {
namespace {

template <typename Target>
struct Step {
    FaultKind kind;
    void (*apply)(Target& target, const Fault& fault);
};

void WrongCrc(Delivery& delivery, const Fault& /*fault*/) {
    Bytes& frame = delivery.writes.front();
    std::transform(frame.end() - 2, frame.end(), frame.end() - 2,
                   [](std::uint8_t byte) { return static_cast<std::uint8_t>(~byte); });
}

void WrongLength(Delivery& delivery, const Fault& fault) {
    delivery.writes.front().at(0) = fault.Byte();
}

void Twice(Delivery& delivery, const Fault& /*fault*/) {
    const Bytes frame = delivery.writes.front();
    delivery.writes.push_back(frame);
}

void Junk(Delivery& delivery, const Fault& fault) {
    Bytes& frame = delivery.writes.front();
    frame.insert(frame.begin(), fault.bytes.begin(), fault.bytes.end());
}

void CloseMidFrame(Delivery& delivery, const Fault& /*fault*/) {
    Bytes half = delivery.writes.front();
    half.resize(half.size() / 2);
    delivery.writes = {half};
    delivery.ending = Delivery::Ending::kClose;
}

void ByteByByte(Delivery& delivery, const Fault& fault) {
    std::vector<Bytes> single;
    for (const Bytes& bytes : delivery.writes) {
        std::transform(bytes.begin(), bytes.end(), std::back_inserter(single), [](std::uint8_t b) { return Bytes{b}; });
    }
    delivery.writes = single;
    delivery.pause = fault.Duration();
}

template <Delivery::Ending kEnding>
void EndInstead(Delivery& delivery, const Fault& /*fault*/) {
    delivery.writes.clear();
    delivery.ending = kEnding;
}

constexpr std::array<Step<Frame>, 2> kFrameSteps = {{
    {FaultKind::kUnknownReference, [](Frame& frame, const Fault&) { frame.referenceId ^= 0x20U; }},
    {FaultKind::kAnswerCode, [](Frame& frame, const Fault& fault) { frame.code = fault.Byte(); }},
}};

// In the order in which they make sense together.
constexpr std::array<Step<Delivery>, 11> kDeliverySteps = {{
    {FaultKind::kWrongCrc, WrongCrc},
    {FaultKind::kWrongLength, WrongLength},
    {FaultKind::kTwice, Twice},
    {FaultKind::kJunk, Junk},
    {FaultKind::kCloseMidFrame, CloseMidFrame},
    {FaultKind::kByteByByte, ByteByByte},
    {FaultKind::kGlue, [](Delivery& delivery, const Fault&) { delivery.holdForNext = true; }},
    {FaultKind::kDelay, [](Delivery& delivery, const Fault& fault) { delivery.delay = fault.Duration(); }},
    {FaultKind::kSilence, [](Delivery& delivery, const Fault&) { delivery.writes.clear(); }},
    {FaultKind::kClose, EndInstead<Delivery::Ending::kClose>},
    {FaultKind::kReset, EndInstead<Delivery::Ending::kReset>},
}};

template <typename Target, std::size_t kSize>
void Apply(const std::array<Step<Target>, kSize>& steps, Target& target, const std::vector<Fault>& faults) {
    for (const Step<Target>& step : steps) {
        const auto latest =
            std::find_if(faults.rbegin(), faults.rend(), [&](const Fault& fault) { return fault.kind == step.kind; });
        if (latest != faults.rend()) {
            step.apply(target, *latest);
        }
    }
}

}  // namespace

Delivery PlanDelivery(const Frame& answer, const std::vector<Fault>& faults) {
    Frame frame = answer;
    Apply(kFrameSteps, frame, faults);
    Delivery delivery;
    delivery.writes.push_back(EncodeFrame(frame));
    Apply(kDeliverySteps, delivery, faults);
    return delivery;
}

}  // namespace Simulator
