#pragma once

// The only door to rapidjson: every file that uses it includes this header first, so that all of the program
// agrees on its settings.

#include "diagnostics/FailedAssertion.h"

// A required JSON member that is missing, or a number that does not fit, ends the process through SIGABRT. The
// assertion is part of what the Mux does and is on in every build type, NDEBUG or not.
#define RAPIDJSON_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) : Diagnostics::FailedAssertion(#condition, __FILE__, __LINE__))

// The iterative parser accepts the same grammar without recursion, so a text of nothing but opening brackets
// cannot overflow a thread's stack.
#define RAPIDJSON_PARSE_DEFAULT_FLAGS kParseIterativeFlag

// Before everything that takes memory.
#include "diagnostics/JsonHeap.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
