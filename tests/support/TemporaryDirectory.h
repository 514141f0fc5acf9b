#pragma once

#include <filesystem>
#include <string>

namespace Testing {

// An empty directory of its own; removed with all that is in it.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& Path() const;

    // The content of a file in it; empty when there is none.
    std::string Read(const std::string& fileName) const;

    // Makes an executable file in it.
    void WriteProgram(const std::string& fileName, const std::string& content) const;

  private:
    std::filesystem::path path_;
};

}  // namespace Testing
