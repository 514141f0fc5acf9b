#include "tools/muxctl/InputFile.h"

#include <cerrno>
#include <fstream>
#include <iostream>
#include <system_error>

#include "tools/muxctl/UsageError.h"

namespace Muxctl {

Diagnostics::TextReading ReadInputFile(const std::string& path, std::string& text) {
    if (path == "-") {
        return Diagnostics::ReadText(std::cin, text);
    }
    std::ifstream file(path, std::ios::binary);
    return Diagnostics::ReadText(file, text);
}

std::string ReadWholeFile(const std::string& path) {
    std::string text;
    errno = 0;
    if (ReadInputFile(path, text) != Diagnostics::TextReading::kWhole) {
        const int reason = errno;
        throw UsageError("cannot read " + path + (reason == 0 ? "" : ": " + std::generic_category().message(reason)));
    }
    return text;
}

}  // namespace Muxctl
