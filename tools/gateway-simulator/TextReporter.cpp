#include "tools/gateway-simulator/TextReporter.h"

#include "tools/gateway-simulator/FrameText.h"
#include "tools/gateway-simulator/ProtocolCodes.h"

namespace Simulator {
namespace {

bool IsKeepAlive(const ReceivedFrame& received) {
    return received.verdict == Verdict::kGood && received.frame.code == kStatusRequest &&
           received.frame.deviceAddress == kCounterAddress;
}

}  // namespace

void TextReporter::Connected(const std::string& peer) {
    Output().WriteTimed("connection from " + peer);
}

void TextReporter::Disconnected(const std::string& peer, const std::string& reason) {
    Output().WriteTimed("connection from " + peer + " ended: " + reason);
}

void TextReporter::Received(const ReceivedFrame& received) {
    lastIsKeepAlive_ = IsKeepAlive(received);
    FrameOutput().WriteTimed(DescribeReceived(received));
}

void TextReporter::Answered(const Frame& answer, const std::vector<Fault>& faults) {
    FrameOutput().WriteTimed(DescribeAnswer(answer, faults));
}

void TextReporter::EventSent(const Frame& event) {
    Output().WriteTimed(DescribeEvent(event));
}

void TextReporter::Notice(const std::string& text) {
    Output().Write(text);
}

}  // namespace Simulator
