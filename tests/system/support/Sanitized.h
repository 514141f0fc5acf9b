#pragma once

namespace SystemTest {

// Whether tests and Mux are built with a sanitizer. Its address space is terabytes wide, and a dump of it takes
// minutes.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
#else
constexpr bool kIsSanitized = false;
#endif

}  // namespace SystemTest
