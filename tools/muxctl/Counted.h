#pragma once

#include <cstddef>
#include <string>

namespace Muxctl {

// "1 lock", "2 locks".
inline std::string Counted(std::size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace Muxctl
