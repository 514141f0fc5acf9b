#pragma once

// A part of RapidJson.h, which has the settings that the library's headers need; include that.

#include <rapidjson/allocators.h>

#include <cstddef>

namespace Diagnostics {

// The heap of the JSON library. The library uses what it gets without a look, so where memory runs out this throws
// std::bad_alloc in place of handing out null.
//
// Keeps no state; any thread.
class JsonHeap : public rapidjson::CrtAllocator {
  public:
    void* Malloc(std::size_t size);
    void* Realloc(void* memory, std::size_t size, std::size_t wanted);
};

}  // namespace Diagnostics

// Documents, their values, pools, buffers, writers and readers have their memory from these two, and are declared with
// the library's own heap. So both take ours in its place, and the types keep their names.
namespace rapidjson {

template <>
class MemoryPoolAllocator<CrtAllocator> : public MemoryPoolAllocator<Diagnostics::JsonHeap> {
  public:
    using MemoryPoolAllocator<Diagnostics::JsonHeap>::MemoryPoolAllocator;
};

}  // namespace rapidjson

#include <rapidjson/internal/stack.h>

namespace rapidjson::internal {

template <>
class Stack<CrtAllocator> : public Stack<Diagnostics::JsonHeap> {
  public:
    Stack(CrtAllocator* /*heap*/, std::size_t capacity) : Stack<Diagnostics::JsonHeap>(nullptr, capacity) {}
};

}  // namespace rapidjson::internal
