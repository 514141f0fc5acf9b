#include "mux/configuration/ConfigurationFile.h"

#include <array>
#include <fstream>

namespace Mux::Configuration {

bool ReadConfigurationFile(const std::string& path, std::string& text, std::size_t maximumBytes) {
    std::ifstream file(path, std::ios::binary);
    std::array<char, 65536> piece = {};
    text.clear();
    while (file && text.size() <= maximumBytes) {
        file.read(piece.data(), piece.size());
        text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    }
    // A directory opens and then cannot be read.
    const bool isRead = file.is_open() && file.eof() && !file.bad() && text.size() <= maximumBytes;
    if (!isRead) {
        text = {};
    }
    return isRead;
}

}  // namespace Mux::Configuration
