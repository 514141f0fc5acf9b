#include "fuzz/JsonAssertion.h"

#include "diagnostics/FailedAssertion.h"

// Stands in for the daemon's own, which would end the fuzzer at an input that is no finding.
void Diagnostics::FailedAssertion(const char* /*condition*/, const char* /*file*/, int /*line*/) {
    throw Fuzz::JsonAssertion();
}
