#include <string>

#include "json/Assertion.h"

namespace Json {

void FailedAssertion(const char* condition, const char* /*file*/, int /*line*/) {
    throw AssertionFailure(std::string("Assertion `") + condition + "' failed.");
}

}  // namespace Json
