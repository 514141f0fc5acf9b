#include "tests/support/TemporaryFolder.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

namespace Testing {

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "mux-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryFolder::Write(const std::string& name, std::string_view content) const {
    const std::filesystem::path path = path_ / name;
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path.string());
    }
    return path.string();
}

std::string TemporaryFolder::WriteProgram(const std::string& name, std::string_view content) const {
    std::string path = Write(name, content);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}

std::string TemporaryFolder::Read(const std::string& name) const {
    const std::ifstream file(path_ / name, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

}  // namespace Testing
