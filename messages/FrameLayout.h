#pragma once

#include <cstddef>
#include <cstdint>

// Offset, size and meaning of the fields of a gateway frame. Multi-byte integers are big-endian; N is the payload's
// length.
//
//      0  1  total length: the whole frame, N + 19
//      1  1  magic byte 1, 0xFE
//      2  1  magic byte 2, 0xFD
//      3  1  remaining length: from offset 5 to the end, N + 14
//      4  1  header version, 1
//      5  2  reserved, 0
//      7  1  reference ID, 1..63: an answer carries the one of its request
//      8  4  sequence counter
//     12  4  device address: the lock
//     16  1  payload type: the command code (Codes.h)
//     17  N  payload: each payload class has its own layout
//   17+N  2  CRC-16/XMODEM of everything before it
//
// The length fields have 8 bits and wrap beyond; no payload of the protocol comes near that.
namespace Brenk::Messages::FrameLayout {

constexpr std::size_t kTotalLength = 0;
constexpr std::size_t kMagic1 = 1;
constexpr std::size_t kMagic2 = 2;
constexpr std::size_t kRemainingLength = 3;
constexpr std::size_t kHeaderVersion = 4;
constexpr std::size_t kReserved1 = 5;
constexpr std::size_t kReserved2 = 6;
constexpr std::size_t kReferenceID = 7;
constexpr std::size_t kSequenceCounter = 8;
constexpr std::size_t kDeviceAddress = 12;
constexpr std::size_t kPayloadType = 16;
constexpr std::size_t kPayload = 17;

constexpr std::uint8_t kMagicByte1 = 0xFE;
constexpr std::uint8_t kMagicByte2 = 0xFD;
constexpr std::uint8_t kCurrentHeaderVersion = 1;
constexpr std::uint8_t kHighestReferenceID = 63;

// What the two length fields count besides the payload.
constexpr std::size_t kTotalLengthWithoutPayload = 19;
constexpr std::size_t kRemainingLengthWithoutPayload = 14;

}  // namespace Brenk::Messages::FrameLayout
