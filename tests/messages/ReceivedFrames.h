#pragma once

// Frames as gateways send them, written by hand from the frame layout; their CRC by python3, binascii.crc_hqx(data, 0).

namespace Testing {

constexpr const char* kResponseFrame = "14 FE FD 0F 01 00 00 05 00 00 01 00 00 00 01 02 00 03 57 E6";
constexpr const char* kCounterErrorFrame = "18 FE FD 13 01 00 00 05 00 00 01 00 00 00 01 02 00 07 FE DC BA 98 70 8A";
constexpr const char* kStatusFrame = "1A FE FD 15 01 00 00 05 00 00 01 00 00 00 01 02 01 A1 A2 A3 A4 A5 A6 A7 E6 C6";
// A card and a PIN at a lock's reader: four and three event bytes, the length of the data, the data.
constexpr const char* kCardFrame =
    "1F FE FD 1A 01 00 00 05 00 00 01 00 00 00 01 02 0E 01 02 03 04 A5 B6 C7 04 04 A1 B2 C3 F4 CC";
constexpr const char* kPinFrame =
    "1F FE FD 1A 01 00 00 05 00 00 01 00 00 00 01 02 16 01 02 03 04 A5 B6 C7 04 01 02 03 04 35 3C";

}  // namespace Testing
