#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace Testing {

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = std::filesystem::temp_directory_path() / "mux-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }
    path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

const std::filesystem::path& TemporaryDirectory::Path() const {
    return path_;
}

std::string TemporaryDirectory::Read(const std::string& fileName) const {
    std::ifstream file(path_ / fileName);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void TemporaryDirectory::WriteProgram(const std::string& fileName, const std::string& content) const {
    std::ofstream(path_ / fileName) << content;
    std::filesystem::permissions(path_ / fileName, std::filesystem::perms::owner_all);
}

}  // namespace Testing
