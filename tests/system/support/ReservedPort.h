#pragma once

#include <cstdint>

namespace SystemTest {

// A free TCP port that stays ours, so that test programs running side by side never meet on one port.
//
// The port is bound and not listened on. A program that binds with SO_REUSEPORT, as the Mux does, can have it;
// everybody who looks for any free port gets another one.
class ReservedPort {
  public:
    ReservedPort();
    ~ReservedPort();
    ReservedPort(const ReservedPort&) = delete;
    ReservedPort& operator=(const ReservedPort&) = delete;

    std::uint16_t Number() const { return number_; }

  private:
    int socket_ = -1;
    std::uint16_t number_ = 0;
};

}  // namespace SystemTest
