#include "tools/muxctl/InputFile.h"

#include <fstream>
#include <iostream>

namespace Muxctl {

Diagnostics::TextReading ReadInputFile(const std::string& path, std::string& text) {
    if (path == "-") {
        return Diagnostics::ReadText(std::cin, text);
    }
    std::ifstream file(path, std::ios::binary);
    return Diagnostics::ReadText(file, text);
}

}  // namespace Muxctl
