#pragma once

#include <cstdint>
#include <vector>

namespace Brenk::CRC {

// The checksum that ends every gateway frame. Without state: any thread may call it.
class CRC16 {
  public:
    // Returns the CRC-16/XMODEM of `data`: the generator of ITU-T V.41 (x^16 + x^12 + x^5 + 1, 0x1021), initial
    // value 0, neither bytes nor result reflected, no final XOR. An empty vector gives 0. Takes the bytes as they
    // are and leaves them so. Never fails.
    static std::uint16_t XModem(std::vector<unsigned char>& data);
};

}  // namespace Brenk::CRC
