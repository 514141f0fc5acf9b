#pragma once

#include <string>

namespace Testing {

// OPEN_LOCK for lock 5, for 10 seconds, and its answers; then the next one. Hexadecimal digits, laid out by hand, their
// checksums computed with Python: binascii.crc_hqx(frame, 0).
inline const std::string kOpen = "17 FE FD 12 01 00 00 03 00 00 03 E9 00 00 00 05 0A 00 00 00 00 80 DC";
inline const std::string kOk = "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 D9 DC";
inline const std::string kNoRoute = "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 08 58 D4";
inline const std::string kNextOpen = "17 FE FD 12 01 00 00 04 00 00 03 EA 00 00 00 05 0A 00 00 00 00 41 15";
inline const std::string kNextOk = "14 FE FD 0F 01 00 00 04 00 00 03 EA 00 00 00 05 00 00 28 E3";

}  // namespace Testing
