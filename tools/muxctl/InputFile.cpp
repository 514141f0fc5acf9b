#include "tools/muxctl/InputFile.h"

#include <cerrno>
#include <fstream>
#include <iostream>
#include <system_error>

#include "tools/muxctl/UsageError.h"

namespace Muxctl {

Diagnostics::TextReading ReadInputFile(const std::string& path, std::string& text) {
    errno = 0;
    if (path == "-") {
        return Diagnostics::ReadText(std::cin, text);
    }
    std::ifstream file(path, std::ios::binary);
    const Diagnostics::TextReading reading = Diagnostics::ReadText(file, text);
    // Closing the file must not change the reason.
    const int reason = errno;
    file.close();
    errno = reason;
    return reading;
}

std::string InputFaultText(Diagnostics::TextReading reading) {
    const int reason = errno;
    const std::string fault = Diagnostics::FaultText(reading);
    const bool hasReason = reading == Diagnostics::TextReading::kFailed && reason != 0;
    return hasReason ? fault + ": " + std::generic_category().message(reason) : fault;
}

std::string ReadWholeFile(const std::string& path) {
    std::string text;
    const Diagnostics::TextReading reading = ReadInputFile(path, text);
    if (reading != Diagnostics::TextReading::kWhole) {
        throw UsageError(path + " " + InputFaultText(reading));
    }
    return text;
}

}  // namespace Muxctl
