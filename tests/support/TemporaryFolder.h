#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace Testing {

// An empty folder that is removed, with all that is in it, together with the object.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }

    // Writes a file of the folder and returns its full path.
    std::string Write(const std::string& name, std::string_view content) const;

    // The same for a file that can be run.
    std::string WriteProgram(const std::string& name, std::string_view content) const;

    // The content of a file, empty when there is none of that name.
    std::string Read(const std::string& name) const;

  private:
    std::filesystem::path path_;
};

}  // namespace Testing
