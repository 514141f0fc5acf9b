#include "tools/gateway-simulator/FrameCodec.h"

#include <array>
#include <stdexcept>

namespace Simulator {
namespace {

constexpr std::size_t kPayloadOffset = 17;
constexpr std::size_t kChecksumWidth = 2;
// The remaining length does not count the bytes before the first reserved one.
constexpr std::size_t kNotRemaining = 5;

std::uint32_t ReadNumber(const Bytes& bytes, std::size_t offset, std::size_t width) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < width; ++i) {
        number = (number << 8U) | bytes.at(offset + i);
    }
    return number;
}

void AppendNumber(Bytes& bytes, std::uint32_t number, std::size_t width) {
    for (std::size_t left = width; left > 0; --left) {
        bytes.push_back(static_cast<std::uint8_t>(number >> (8U * (left - 1U))));
    }
}

Frame ReadFields(const Bytes& bytes) {
    Frame frame;
    frame.headerVersion = bytes.at(4);
    frame.referenceId = bytes.at(7);
    frame.sequenceCounter = ReadNumber(bytes, 8, 4);
    frame.deviceAddress = ReadNumber(bytes, 12, 4);
    frame.code = bytes.at(16);
    frame.payload.assign(bytes.begin() + kPayloadOffset, bytes.end() - kChecksumWidth);
    return frame;
}

bool ChecksumMatches(const Bytes& bytes) {
    const std::uint16_t expected = Checksum(bytes.begin(), bytes.end() - kChecksumWidth);
    return ReadNumber(bytes, bytes.size() - kChecksumWidth, kChecksumWidth) == expected;
}

using Check = bool (*)(const Bytes&);

struct Rule {
    Verdict broken;
    Check holds;
};

constexpr std::array<Rule, 6> kRules = {{
    {Verdict::kMagic, [](const Bytes& b) { return b.at(1) == kMagicFirst && b.at(2) == kMagicSecond; }},
    {Verdict::kTotalLength, [](const Bytes& b) { return b.at(0) == b.size(); }},
    {Verdict::kRemainingLength, [](const Bytes& b) { return b.at(3) == b.size() - kNotRemaining; }},
    {Verdict::kChecksum, ChecksumMatches},
    {Verdict::kHeaderVersion, [](const Bytes& b) { return b.at(4) == kKnownHeaderVersion; }},
    {Verdict::kReserved, [](const Bytes& b) { return b.at(5) == 0 && b.at(6) == 0; }},
}};

Verdict Judge(const Bytes& bytes) {
    for (const Rule& rule : kRules) {
        if (!rule.holds(bytes)) {
            return rule.broken;
        }
    }
    return Verdict::kGood;
}

}  // namespace

const char* VerdictText(Verdict verdict) {
    switch (verdict) {
        case Verdict::kGood:
            return "good";
        case Verdict::kTooShort:
            return "shorter than a frame";
        case Verdict::kMagic:
            return "no magic bytes";
        case Verdict::kTotalLength:
            return "wrong total length";
        case Verdict::kRemainingLength:
            return "wrong remaining length";
        case Verdict::kChecksum:
            return "wrong CRC";
        case Verdict::kHeaderVersion:
            return "unknown header version";
        case Verdict::kReserved:
            return "reserved bytes not zero";
    }
    return "unknown verdict";
}

DecodedFrame DecodeFrame(const Bytes& bytes) {
    if (bytes.size() < kShortestFrame) {
        return {};
    }
    return {Judge(bytes), ReadFields(bytes)};
}

Bytes EncodeFrame(const Frame& frame) {
    if (frame.payload.size() > kLongestPayload) {
        throw std::length_error("payload too long for a frame");
    }
    const auto total = static_cast<std::uint8_t>(frame.payload.size() + kShortestFrame);
    const auto remaining = static_cast<std::uint8_t>(total - kNotRemaining);
    Bytes bytes = {total, kMagicFirst, kMagicSecond, remaining, frame.headerVersion, 0, 0, frame.referenceId};
    AppendNumber(bytes, frame.sequenceCounter, 4);
    AppendNumber(bytes, frame.deviceAddress, 4);
    bytes.push_back(frame.code);
    bytes.insert(bytes.end(), frame.payload.begin(), frame.payload.end());
    AppendNumber(bytes, Checksum(bytes.begin(), bytes.end()), kChecksumWidth);
    return bytes;
}

std::uint16_t Checksum(Bytes::const_iterator first, Bytes::const_iterator last) {
    std::uint32_t crc = 0;
    for (; first != last; ++first) {
        crc ^= static_cast<std::uint32_t>(*first) << 8U;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x8000U) != 0 ? (crc << 1U) ^ 0x1021U : crc << 1U;
        }
    }
    return static_cast<std::uint16_t>(crc);
}

}  // namespace Simulator
