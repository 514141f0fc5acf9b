#pragma once

// The only include of rapidjson: every file that uses it includes this header first, so that the whole program agrees
// on its settings.

#include "json/Assertion.h"

// On in every build type, NDEBUG or not: what happens to JSON of the wrong shape is part of what a program does.
#define RAPIDJSON_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) : Json::FailedAssertion(#condition, __FILE__, __LINE__))

// The iterative parser accepts the same grammar without recursion, so a text of nothing but opening brackets
// cannot overflow a thread's stack.
#define RAPIDJSON_PARSE_DEFAULT_FLAGS kParseIterativeFlag

// What takes memory is included only after the heap that it takes it from.
#include <rapidjson/allocators.h>

#include <cstddef>

namespace Json {

// The JSON library's allocator. The library does not check allocations, so this throws std::bad_alloc where it would
// return null.
//
// Keeps no state; any thread.
class Heap : public rapidjson::CrtAllocator {
  public:
    void* Malloc(std::size_t size);
    void* Realloc(void* memory, std::size_t size, std::size_t wanted);
};

}  // namespace Json

// Documents, their values, pools, buffers, writers and readers have their memory from these two, and are declared with
// the library's own heap. So both take ours in its place, and the types keep their names.
namespace rapidjson {

template <>
class MemoryPoolAllocator<CrtAllocator> : public MemoryPoolAllocator<Json::Heap> {
  public:
    using MemoryPoolAllocator<Json::Heap>::MemoryPoolAllocator;
};

}  // namespace rapidjson

#include <rapidjson/internal/stack.h>

namespace rapidjson::internal {

template <>
class Stack<CrtAllocator> : public Stack<Json::Heap> {
  public:
    Stack(CrtAllocator* /*heap*/, std::size_t capacity) : Stack<Json::Heap>(nullptr, capacity) {}
};

}  // namespace rapidjson::internal

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
