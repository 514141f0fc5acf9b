#include "tests/mux/WireGateway.h"

#include <gtest/gtest.h>

#include <string>

namespace Testing {
namespace {

constexpr std::size_t kReferenceOffset = 7;
constexpr std::size_t kAddressOffset = 12;
constexpr std::size_t kChecksumSize = 2;

bool IsSequenceRefresh(const WireGateway::Bytes& frame) {
    return frame.size() > kAddressOffset + 3 && frame.at(kAddressOffset + 2) == 1 && frame.at(kAddressOffset + 3) == 0;
}

// A frame around a payload: length, magic, remaining length, version, two reserved bytes, reference ID, sequence
// counter, address, command, payload, checksum.
WireGateway::Bytes Frame(unsigned char reference, unsigned char lock, unsigned char command,
                         const WireGateway::Bytes& payload) {
    const auto size = static_cast<unsigned char>(payload.size());
    WireGateway::Bytes frame = {static_cast<unsigned char>(size + 19),
                                0xFE,
                                0xFD,
                                static_cast<unsigned char>(size + 14),
                                1,
                                0,
                                0,
                                reference,
                                0,
                                0,
                                0,
                                0,
                                0,
                                0,
                                0,
                                lock,
                                command};
    frame.insert(frame.end(), payload.begin(), payload.end());
    frame.insert(frame.end(), kChecksumSize, 0);
    return frame;
}

}  // namespace

WireGateway::WireGateway() : listener_(LoopbackSocket::Listening()) {}

int WireGateway::Port() const {
    return listener_.Port();
}

void WireGateway::Accept() {
    connection_ = listener_.Accept();
}

WireGateway::Bytes WireGateway::ReceiveFrame() {
    Bytes frame = connection_.Receive(1);
    if (frame.empty()) {
        ADD_FAILURE() << "No frame came.";
        return frame;
    }
    const Bytes rest = connection_.Receive(frame.front() - std::size_t{1});
    frame.insert(frame.end(), rest.begin(), rest.end());
    return frame;
}

WireGateway::Bytes WireGateway::ReceiveRequest() {
    Bytes frame = ReceiveFrame();
    while (IsSequenceRefresh(frame)) {
        frame = ReceiveFrame();
    }
    return frame;
}

void WireGateway::Answer(const Bytes& frame, unsigned char result) {
    connection_.Send(Frame(frame.at(kReferenceOffset), 0, 0, {result}));
}

void WireGateway::SendCardEvent(unsigned char eventType, unsigned char lock, const Bytes& card) {
    Bytes payload(7);
    payload.push_back(static_cast<unsigned char>(card.size()));
    payload.insert(payload.end(), card.begin(), card.end());
    connection_.Send(Frame(0, lock, eventType, payload));
}

void WireGateway::Close() {
    connection_.Close();
}

std::string TimelessPart(const WireGateway::Bytes& frame) {
    static const std::string kDigits = "0123456789ABCDEF";
    std::string text;
    for (std::size_t offset = 0; offset + kChecksumSize < frame.size(); ++offset) {
        if (offset < kReferenceOffset || offset >= kAddressOffset) {
            text += kDigits.at(frame.at(offset) / 16);
            text += kDigits.at(frame.at(offset) % 16);
            text += ' ';
        }
    }
    return text.empty() ? text : text.substr(0, text.size() - 1);
}

}  // namespace Testing
