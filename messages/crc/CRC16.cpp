#include "messages/crc/CRC16.h"

#include "diagnostics/Log.h"

namespace Brenk::CRC {
namespace {

constexpr std::uint16_t kGenerator = 0x1021;
constexpr std::uint16_t kTopBit = 0x8000;

std::uint16_t AddByte(std::uint16_t crc, unsigned char byte) {
    crc = static_cast<std::uint16_t>(crc ^ (byte << 8));
    for (int bit = 0; bit < 8; ++bit) {
        const bool shiftedOut = (crc & kTopBit) != 0;
        crc = static_cast<std::uint16_t>(crc << 1);
        if (shiftedOut) {
            crc ^= kGenerator;
        }
    }
    return crc;
}

}  // namespace

std::uint16_t CRC16::XModem(std::vector<unsigned char>& data) {
    MUX_OPERATION();
    MUX_LOG(plog::debug) << "CRC Vector size: " << data.size();
    std::uint16_t crc = 0;
    for (const unsigned char byte : data) {
        crc = AddByte(crc, byte);
    }
    MUX_LOG(plog::debug) << "CRC Value: " << crc;
    return crc;
}

}  // namespace Brenk::CRC
