#include "fuzz/JsonAssertion.h"

#include "json/Assertion.h"

// Stands in for the daemon's own, which would end the fuzzer at an input that is no finding.
void Json::FailedAssertion(const char* /*condition*/, const char* /*file*/, int /*line*/) {
    throw Fuzz::JsonAssertion();
}
