#include "tests/system/support/ListeningSockets.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <system_error>

namespace SystemTest {
namespace {

namespace fs = std::filesystem;

constexpr const char* kListening = "0A";

// The inodes of all sockets that the process has open, as "12345".
std::set<std::string> SocketsOf(const fs::path& processFolder) {
    static const std::string kStart = "socket:[";
    std::set<std::string> inodes;
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(processFolder / "fd", ignored)) {
        const std::string target = fs::read_symlink(entry.path(), ignored).string();
        if (target.rfind(kStart, 0) == 0) {
            inodes.insert(target.substr(kStart.size(), target.size() - kStart.size() - 1));
        }
    }
    return inodes;
}

// Columns: number, local address as ADDRESS:PORT in hexadecimal, remote address, state, queues, timer,
// retransmissions, user, time-out, inode.
struct Row {
    std::string number, local, remote, state, queues, timer, retransmissions, user, timeout, inode;
};

std::istream& operator>>(std::istream& text, Row& row) {
    return text >> row.number >> row.local >> row.remote >> row.state >> row.queues >> row.timer >>
           row.retransmissions >> row.user >> row.timeout >> row.inode;
}

std::uint16_t PortOf(const Row& row) {
    return static_cast<std::uint16_t>(std::stoul(row.local.substr(row.local.find(':') + 1), nullptr, 16));
}

}  // namespace

std::vector<std::uint16_t> ListeningPortsOf(pid_t process) {
    const fs::path processFolder = fs::path("/proc") / std::to_string(process);
    const std::set<std::string> sockets = SocketsOf(processFolder);
    std::ifstream table(processFolder / "net" / "tcp");
    std::vector<std::uint16_t> ports;
    for (std::string line; std::getline(table, line);) {
        std::istringstream text(line);
        Row row;
        if (text >> row && row.state == kListening && sockets.count(row.inode) > 0) {
            ports.push_back(PortOf(row));
        }
    }
    std::sort(ports.begin(), ports.end());
    return ports;
}

}  // namespace SystemTest
