#pragma once

#include <cstddef>
#include <istream>
#include <string>

namespace Diagnostics {

// The largest text that is taken from a file, in bytes: far above any configuration, and little enough for a small
// machine to notice that it was given a device without an end.
constexpr std::size_t kLargestText = 64UL * 1024 * 1024;

enum class TextReading { kWhole, kFailed, kTooLarge };

// Why a text cannot be used, to follow the name of its file: "cannot be read: it is larger than 64 MiB". Not for
// kWhole. The result is a static string.
const char* FaultText(TextReading reading);

// Reads a stream to its end into `text`, at most kLargestText bytes; only after kWhole is `text` all of it. A file that
// could not be opened, and a folder, are kFailed. Any thread.
TextReading ReadText(std::istream& stream, std::string& text);

}  // namespace Diagnostics
