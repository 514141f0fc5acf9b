#include "json/RapidJson.h"

#include <new>

namespace Json {
namespace {

// The library takes null for what has no size.
void* Checked(void* memory, std::size_t size) {
    if (memory == nullptr && size != 0) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

void* Heap::Malloc(std::size_t size) {
    return Checked(CrtAllocator::Malloc(size), size);
}

void* Heap::Realloc(void* memory, std::size_t size, std::size_t wanted) {
    return Checked(CrtAllocator::Realloc(memory, size, wanted), wanted);
}

}  // namespace Json
