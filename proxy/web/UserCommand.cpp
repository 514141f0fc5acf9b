#include "proxy/web/UserCommand.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "proxy/web/PasswordFile.h"

namespace MuxProxy {
namespace {

constexpr mode_t kFileMode = 0640;

[[noreturn]] void Fail(const std::string& file, const char* what) {
    throw std::runtime_error(file + ": " + what + ": " + std::generic_category().message(errno));
}

// The terminal shows nothing of what is typed, as long as this lives.
class SilentTerminal {
  public:
    SilentTerminal() {
        if (tcgetattr(STDIN_FILENO, &before_) != 0) {
            throw std::runtime_error("the terminal cannot be asked for a password");
        }
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        if (tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) != 0) {
            throw std::runtime_error("the terminal cannot hide a password");
        }
    }
    ~SilentTerminal() { tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_); }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

  private:
    termios before_{};
};

std::string ReadLine() {
    std::string line;
    if (!std::getline(std::cin, line)) {
        throw std::runtime_error("no password was given");
    }
    return line;
}

std::string Ask(const std::string& question) {
    std::cerr << question << std::flush;
    std::string answer = ReadLine();
    std::cerr << '\n';
    return answer;
}

std::string ReadPassword(const std::string& name) {
    if (isatty(STDIN_FILENO) == 0) {
        return ReadLine();
    }
    const SilentTerminal terminal;
    std::string password = Ask("Password of " + name + ": ");
    if (Ask("Again: ") != password) {
        throw std::runtime_error("these passwords differ; nothing was changed");
    }
    return password;
}

// Empty for a file that is missing.
std::string ReadUsers(const std::string& file) {
    std::error_code error;
    if (!std::filesystem::exists(file, error)) {
        return "";
    }
    PasswordFile::Read(file);
    return ReadPasswordText(file);
}

// The text with this line in place of the user's, or without the user's if it is empty.
std::string WithLine(const std::string& text, const std::string& name, const std::string& line) {
    std::istringstream lines(text);
    std::string result;
    std::string last = line;
    for (std::string each; std::getline(lines, each);) {
        const bool isUsers = each.compare(0, name.size() + 1, name + ':') == 0;
        result += isUsers ? std::exchange(last, "") : each + '\n';
    }
    return result + last;
}

// A file that is not there in the end unless it was moved to its place.
class NewFile {
  public:
    explicit NewFile(const std::string& target)
        : target_(target), path_(target + ".XXXXXX"), descriptor_(mkostemp(path_.data(), O_CLOEXEC)) {
        if (descriptor_ < 0) {
            Fail(target_, "cannot be written");
        }
    }
    ~NewFile() {
        close(descriptor_);
        unlink(path_.c_str());
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    // False if this user may not give it to them.
    bool GiveTo(uid_t owner, gid_t group) const { return fchown(descriptor_, owner, group) == 0; }

    void Write(const std::string& text) const {
        if (fchmod(descriptor_, kFileMode) != 0) {
            Fail(target_, "cannot be written");
        }
        for (std::size_t written = 0; written < text.size();) {
            const ssize_t count = write(descriptor_, text.data() + written, text.size() - written);
            if (count < 0) {
                Fail(target_, "cannot be written");
            }
            written += static_cast<std::size_t>(count);
        }
        if (fsync(descriptor_) != 0) {
            Fail(target_, "cannot be written");
        }
    }

    void Replace() const {
        if (rename(path_.c_str(), target_.c_str()) != 0) {
            Fail(target_, "cannot be replaced");
        }
    }

  private:
    const std::string target_;
    std::string path_;
    const int descriptor_;
};

// The name of the file is on disk only with its folder.
void SyncFolder(const std::string& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0 || fsync(descriptor) != 0) {
        Fail(folder, "cannot be written");
    }
    close(descriptor);
}

// A new file is for the group of its folder, which is the proxy's, as far as this user may give it. A link stays one.
void WriteUsers(const std::string& path, const std::string& text) {
    const std::filesystem::path file = std::filesystem::weakly_canonical(std::filesystem::absolute(path));
    const std::string folder = file.parent_path();
    struct stat old {};
    struct stat ofFolder {};
    const bool hasOld = stat(file.c_str(), &old) == 0;
    if (stat(folder.c_str(), &ofFolder) != 0) {
        Fail(folder, "cannot be read");
    }
    const NewFile replacement(file);
    const bool isGiven = replacement.GiveTo(hasOld ? old.st_uid : geteuid(), hasOld ? old.st_gid : ofFolder.st_gid);
    if (hasOld && !isGiven) {
        Fail(file, "cannot keep its owner and group");
    }
    replacement.Write(text);
    replacement.Replace();
    SyncFolder(folder);
}

void CheckName(const std::string& name) {
    if (!IsUserName(name)) {
        throw std::runtime_error(
            "the name of a user must be 1 to 64 printable bytes without \":\" and without \"#\" in front");
    }
}

}  // namespace

void SetUser(const std::string& file, const std::string& name) {
    CheckName(name);
    // Says what is wrong with it before it asks; others may change it meanwhile.
    ReadUsers(file);
    const std::string hash = HashPassword(ReadPassword(name));
    WriteUsers(file, WithLine(ReadUsers(file), name, name + ':' + hash + '\n'));
}

void RemoveUser(const std::string& file, const std::string& name) {
    CheckName(name);
    if (PasswordFile::Read(file).HashOf(name).empty()) {
        throw std::runtime_error(file + ": has no user " + name);
    }
    WriteUsers(file, WithLine(ReadUsers(file), name, ""));
}

}  // namespace MuxProxy
