#pragma once

namespace Mux {

constexpr const char* kVersion = "2.18.1";
constexpr const char* kNameAndVersion = "Brenk MUX version 2.18.1";

}  // namespace Mux
