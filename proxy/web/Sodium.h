#pragma once

#include <cstddef>
#include <string>

namespace MuxProxy {

// Prepares libsodium, once in the process. Throws std::runtime_error if this host has no random numbers. Any thread.
void PrepareSodium();

// Bytes that nobody can foresee, after PrepareSodium(). Any thread.
std::string RandomBytes(std::size_t count);

// Without padding. Any thread.
std::string Base64Url(const std::string& bytes);

// Whether both are the same, in a time that depends on their lengths only. Any thread.
bool IsSameSecret(const std::string& one, const std::string& other);

}  // namespace MuxProxy
