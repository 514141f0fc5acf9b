#pragma once

#include <cstddef>
#include <cstdint>

#include "tools/gateway-simulator/Bytes.h"
#include "tools/gateway-simulator/Frame.h"

namespace Simulator {

// A frame on the wire, all numbers big-endian, N bytes of payload:
//
//   offset  width  field
//        0      1  total length, N + 19, the whole frame
//        1      2  magic, FE FD
//        3      1  remaining length, N + 14, from offset 5 to the end
//        4      1  header version, 1
//        5      2  reserved, 0
//        7      1  reference ID
//        8      4  sequence counter
//       12      4  device address
//       16      1  code
//       17      N  payload
//   17 + N      2  CRC-16/XMODEM over everything before it
//
// This codec is the gateway's side of the protocol and shares nothing with the daemon's, so that a mistake in one of
// them shows.
constexpr std::size_t kShortestFrame = 19;
constexpr std::size_t kLongestPayload = 255 - kShortestFrame;
constexpr std::uint8_t kMagicFirst = 0xFE;
constexpr std::uint8_t kMagicSecond = 0xFD;
constexpr std::uint8_t kKnownHeaderVersion = 1;

// What is wrong with the bytes of a frame; the first that applies, in this order.
enum class Verdict {
    kGood,
    kTooShort,
    kMagic,
    kTotalLength,
    kRemainingLength,
    kChecksum,
    kHeaderVersion,
    kReserved,
};

// The verdict in words, for a report line.
const char* VerdictText(Verdict verdict);

struct DecodedFrame {
    Verdict verdict = Verdict::kTooShort;
    // As read from the bytes whatever the verdict, all defaults when there are fewer than 19 of them.
    Frame frame;
};

// Reads one frame from exactly its bytes. Takes any bytes and never throws on content.
DecodedFrame DecodeFrame(const Bytes& bytes);

// The wire bytes of a frame with lengths and checksum. Throws std::length_error for a payload of more than 236 bytes,
// which the length bytes cannot express.
Bytes EncodeFrame(const Frame& frame);

// CRC-16/XMODEM: polynomial 0x1021, initial value 0, not reflected, no final exclusive-or.
std::uint16_t Checksum(Bytes::const_iterator first, Bytes::const_iterator last);

}  // namespace Simulator
