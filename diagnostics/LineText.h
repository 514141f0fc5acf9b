#pragma once

#include <plog/Record.h>

#include <string>

namespace Diagnostics {

// The line of a record as the library's text formatter writes it, to the last byte, with the line's end:
//
//   2023-11-14 23:13:20.007 INFO  [4711] [Mux::BrenkMux::Start@128] text
//
// The time is the machine's local time. Any thread. Throws std::bad_alloc.
std::string LineText(const plog::Record& record);

}  // namespace Diagnostics
