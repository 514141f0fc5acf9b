#include "benchmarks/load/Requests.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace Load {
namespace {

constexpr std::size_t kHeaderBytes = 6;
constexpr int kUnknownGateway = 999'999;

}  // namespace

std::string PacketAround(std::string_view text) {
    const std::size_t length = text.size() + kHeaderBytes;
    if (length > std::numeric_limits<std::uint16_t>::max()) {
        throw std::length_error("text too long for a packet");
    }
    std::string packet = {static_cast<char>(length % 256), static_cast<char>(length / 256), 'M', 'U', 'X', 'M'};
    return packet.append(text);
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
