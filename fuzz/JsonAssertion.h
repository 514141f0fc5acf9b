#pragma once

namespace Fuzz {

// Thrown where the daemon ends through a failed JSON assertion, which it does for well-formed JSON of the wrong shape.
struct JsonAssertion {};

}  // namespace Fuzz
