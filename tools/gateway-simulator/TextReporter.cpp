#include "tools/gateway-simulator/TextReporter.h"

#include "tools/gateway-simulator/FrameText.h"

namespace Simulator {

void TextReporter::Connected(const std::string& peer) {
    writer_.WriteTimed("connection from " + peer);
}

void TextReporter::Disconnected(const std::string& peer, const std::string& reason) {
    writer_.WriteTimed("connection from " + peer + " ended: " + reason);
}

void TextReporter::Received(const ReceivedFrame& received) {
    writer_.WriteTimed(DescribeReceived(received));
}

void TextReporter::Answered(const Frame& answer, const std::vector<Fault>& faults) {
    writer_.WriteTimed(DescribeAnswer(answer, faults));
}

void TextReporter::EventSent(const Frame& event) {
    writer_.WriteTimed(DescribeEvent(event));
}

void TextReporter::Notice(const std::string& text) {
    writer_.Write(text);
}

}  // namespace Simulator
