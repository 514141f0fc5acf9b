#pragma once

#include <string>
#include <string_view>

namespace Json {

// `text` with a replacement character (U+FFFD) for every byte that belongs to no UTF-8 character. Keeps no state; any
// thread may call it.
std::string InUtf8(std::string_view text);

}  // namespace Json
