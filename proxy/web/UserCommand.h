#pragma once

#include <string>

namespace MuxProxy {

// Sets the password of a user in this file, or removes the user. Other lines stay as they are. Takes the password from
// the terminal, asking twice without echo, or from the first line of the standard input. Done when the new file is on
// disk in place of the old one, with its owner, group and mode; a file that is missing is begun with the group of its
// folder, for owner and group. Throws std::runtime_error with a sentence for people; the file is unchanged then. For
// the main thread of a command.
void SetUser(const std::string& file, const std::string& name);
void RemoveUser(const std::string& file, const std::string& name);

}  // namespace MuxProxy
