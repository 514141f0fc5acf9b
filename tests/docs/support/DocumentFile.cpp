#include "tests/docs/support/DocumentFile.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Documents {

std::string ReadDocument(const std::string& path) {
    std::ifstream file(std::string(DOCUMENTS_FOLDER) + "/" + path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file || text.str().empty()) {
        throw std::runtime_error("cannot read docs/" + path);
    }
    return text.str();
}

}  // namespace Documents
