#include "tools/gateway-simulator/TextReporter.h"

#include "tools/gateway-simulator/FrameText.h"

namespace Simulator {

void TextReporter::Connected(const std::string& peer) {
    Output().WriteTimed("connection from " + peer);
}

void TextReporter::Disconnected(const std::string& peer, const std::string& reason) {
    Output().WriteTimed("connection from " + peer + " ended: " + reason);
}

void TextReporter::Received(const ReceivedFrame& received) {
    Output().WriteTimed(DescribeReceived(received));
}

void TextReporter::Answered(const Frame& answer, const std::vector<Fault>& faults) {
    Output().WriteTimed(DescribeAnswer(answer, faults));
}

void TextReporter::EventSent(const Frame& event) {
    Output().WriteTimed(DescribeEvent(event));
}

void TextReporter::Notice(const std::string& text) {
    Output().Write(text);
}

}  // namespace Simulator
