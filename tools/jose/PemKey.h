#pragma once

#include <optional>
#include <string>

#include "tools/jose/CurveKey.h"

namespace Jose {

// Whether a text is meant to be PEM.
bool IsPem(const std::string& text);

// The private key of the curve P-256 in a PEM text; nothing if there is none, or it has a password. Any thread.
std::optional<CurveNumbers> ReadPem(const std::string& text);

}  // namespace Jose
