#pragma once

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace MuxProxy {

constexpr std::size_t kLongestUserName = 64;
// How long a password may be, in bytes, when it is set.
constexpr std::size_t kShortestPassword = 8;
constexpr std::size_t kLongestPassword = 1024;

// Whether it may be the name of a user: 1 to 64 printable bytes without ":", and nothing that a line of the file would
// lose. Any thread.
bool IsUserName(std::string_view name);

// A hash of the password with a salt of its own, as a line of the file has it: argon2id, 19 MiB, 2 passes. Takes tens
// of milliseconds. Throws std::runtime_error with a sentence for people if the password is too short or too long, or
// memory is missing. Any thread.
std::string HashPassword(const std::string& password);

// The text of a file of users, which may be empty. Not for the network loop. Throws std::runtime_error with a sentence
// for people that begins with the path.
std::string ReadPasswordText(const std::string& file);

// The users of the page and the hashes of their passwords. Each line of the file is "NAME:HASH"; empty lines and lines
// that begin with "#" count for nothing. Immutable; any thread.
class PasswordFile {
  public:
    // Nobody.
    PasswordFile() = default;
    // Of the text of a file. Throws std::runtime_error with a sentence for people that names the line.
    explicit PasswordFile(const std::string& text);
    // Reads the file, so it is not for the network loop. Throws std::runtime_error with a sentence for people that
    // begins with its path.
    static PasswordFile Read(const std::string& file);

    // Whether this is the user's password. Takes tens of milliseconds and 19 MiB, so it is not for the network loop; as
    // long for a name that is not in the file, so that the time does not show which are. False if memory is missing.
    bool Verify(const std::string& name, const std::string& password) const;

    // The user's hash, which changes with each setting of the password; empty for a name that is not in the file.
    std::string HashOf(const std::string& name) const;
    std::vector<std::string> Names() const;

  private:
    std::map<std::string, std::string> hashes_;
};

}  // namespace MuxProxy
