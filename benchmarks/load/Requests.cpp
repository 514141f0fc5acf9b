#include "benchmarks/load/Requests.h"

#include "tests/support/TestClient.h"

namespace Load {
namespace {

constexpr int kUnknownGateway = 999'999;

}  // namespace

std::string PacketAround(std::string_view text) {
    const Testing::LoopbackSocket::Bytes packet = Testing::Packet(text);
    return {packet.begin(), packet.end()};
}

std::string OpenRequest(std::string_view messageId, int gatewayId) {
    std::string text = R"({"Timestamp":1700000000,"MessageID":")";
    text.append(messageId);
    text += R"(","MessageCode":10,"Data":{"gatewayID":)" + std::to_string(gatewayId) + R"(,"lockID":5}})";
    return PacketAround(text);
}

std::string RefusedRequest(std::string_view messageId) {
    return OpenRequest(messageId, kUnknownGateway);
}

}  // namespace Load
