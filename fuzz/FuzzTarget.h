#pragma once

#include <cstddef>
#include <cstdint>

// One target per decoder of bytes from outside. A target decodes whatever it is given and then checks what must hold
// of the result; it returns 0. The fuzzer calls it, and so does the test that replays the corpus.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Ends the process with a line that names the place when what must hold does not.
#define FUZZ_CHECK(condition) ((condition) ? static_cast<void>(0) : Fuzz::FailCheck(#condition, __FILE__, __LINE__))

namespace Fuzz {

[[noreturn]] void FailCheck(const char* condition, const char* file, int line);

// Logs everything from now on and throws it away, so that what only a log line computes is fuzzed too. Once a process.
void DiscardLog();

}  // namespace Fuzz
