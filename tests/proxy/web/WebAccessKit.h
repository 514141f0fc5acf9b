#pragma once

#include <chrono>
#include <string>

namespace MuxProxy {

// A published result of argon2id: of "password" with the salt "somesalt".
inline const std::string kHash = "$argon2id$v=19$m=256,t=2,p=1$c29tZXNhbHQ$nf65EOgLrQMR/uIPnA4rEsF5h7TKyQwu9U1bMCHGi/4";

// When the tests of what has no clock begin.
constexpr std::chrono::steady_clock::time_point kStart{std::chrono::hours(1000)};

}  // namespace MuxProxy
