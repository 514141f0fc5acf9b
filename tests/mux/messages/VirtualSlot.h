#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Testing {

// Which slot of its class's virtual table the function takes, the first being 1. As the compilers of our targets lay a
// member pointer out: its first word is the slot's offset in bytes, plus one where the processor leaves that bit free.
template <typename Function>
std::size_t VirtualSlot(Function function) {
    std::uintptr_t word = 0;
    static_assert(sizeof function >= sizeof word);
    std::memcpy(&word, &function, sizeof word);
    return (word & ~std::uintptr_t{1}) / sizeof(void*) + 1;
}

}  // namespace Testing
