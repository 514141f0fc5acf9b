#pragma once

#include <gmock/gmock.h>

#include <string>

#include "tests/support/CapturedLog.h"

namespace Testing {

// Matches a line of a CapturedLog by its severity and the text after the signature.
inline auto Logged(plog::Severity severity, const std::string& text) {
    return testing::Pair(severity, testing::EndsWith(") " + text));
}

}  // namespace Testing
