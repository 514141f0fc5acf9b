#pragma once

#include <string>

namespace MuxProxy {

// Set the password of a user in this file, or remove the user. Other lines stay as they are. The password comes from
// the terminal, which is asked twice without echo, or from the first line of the standard input. When they return, the
// new file is on disk in place of the old one, for the same owner and group; a file that is missing is begun, for the
// group of its folder. Throw std::runtime_error with a sentence for people; the file is as it was then. For the main
// thread of a command.
void SetUser(const std::string& file, const std::string& name);
void RemoveUser(const std::string& file, const std::string& name);

}  // namespace MuxProxy
