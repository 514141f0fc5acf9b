#include "diagnostics/FailedAssertion.h"

#include <cstdio>
#include <cstdlib>

namespace Diagnostics {

void FailedAssertion(const char* condition, const char* file, int line) {
    static_cast<void>(std::fprintf(stderr, "%s:%d: Assertion `%s' failed.\n", file, line, condition));
    std::abort();
}

}  // namespace Diagnostics
