#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace Load {

// A program that this process started, its output thrown away. Ended without mercy and waited for on destruction.
class StartedProgram {
  public:
    // Takes the program's path and its arguments. Throws std::system_error when it cannot be started.
    explicit StartedProgram(const std::vector<std::string>& command);
    ~StartedProgram();
    StartedProgram(const StartedProgram&) = delete;
    StartedProgram& operator=(const StartedProgram&) = delete;

    pid_t Process() const { return process_; }

  private:
    pid_t process_ = 0;
};

}  // namespace Load
