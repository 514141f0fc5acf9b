#include "diagnostics/RapidJson.h"

#include <new>

namespace Diagnostics {
namespace {

// The library takes null for what has no size.
void* Checked(void* memory, std::size_t size) {
    if (memory == nullptr && size != 0) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

void* JsonHeap::Malloc(std::size_t size) {
    return Checked(CrtAllocator::Malloc(size), size);
}

void* JsonHeap::Realloc(void* memory, std::size_t size, std::size_t wanted) {
    return Checked(CrtAllocator::Realloc(memory, size, wanted), wanted);
}

}  // namespace Diagnostics
