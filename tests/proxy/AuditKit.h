#pragma once

#include <cstdint>
#include <filesystem>
#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "proxy/audit/AuditLog.h"
#include "proxy/audit/AuditReader.h"
#include "tests/support/TemporaryFolder.h"

namespace MuxProxy {

constexpr std::uintmax_t kMebibyteOfFile = 1048576;

// A row with nothing but these.
inline AuditRow RowOf(const std::string& kind,
                      std::chrono::system_clock::time_point time = std::chrono::system_clock::now()) {
    AuditRow row;
    row.kind = kind;
    row.time = time;
    return row;
}

// A row such as the proxy writes for a request.
inline AuditRow OpeningBy(const std::string& client) {
    AuditRow row;
    row.kind = "request";
    row.client = client;
    row.address = "127.0.0.1";
    row.operation = "open";
    row.gateway = 1;
    row.lock = 5;
    return row;
}

// Hands over a row and returns what the log says about it.
inline bool AddAndWait(AuditLog& log, RequestNumber number, const AuditRow& row) {
    const auto promise = std::make_shared<std::promise<bool>>();
    std::future<bool> written = promise->get_future();
    log.Add(number, row, [promise](bool isWritten) { promise->set_value(isWritten); });
    return written.get();
}

// An audit's file in a folder of its own.
class AuditFolder {
  public:
    AuditSettings Settings() const {
        AuditSettings settings;
        settings.file = File();
        return settings;
    }

    std::string File() const { return (folder_.Path() / "audit.sqlite").string(); }
    const Testing::TemporaryFolder& Folder() const { return folder_; }

    // The rows of a query in CSV, without the line of names, the number and the time; by lines without their ends.
    std::vector<std::string> Rows(AuditQuery query = {}) const {
        query.file = File();
        query.format = AuditFormat::kCsv;
        std::ostringstream output;
        RunAudit(query, output);
        std::istringstream lines(output.str());
        std::vector<std::string> rows;
        std::string line;
        std::getline(lines, line);
        while (std::getline(lines, line)) {
            const std::size_t time = line.find(',') + 1;
            const std::size_t kind = line.find(',', time) + 1;
            rows.push_back(line.substr(kind, line.size() - kind - 1));
        }
        return rows;
    }

    // The bytes of all files in the folder.
    std::string Bytes() const {
        std::string bytes;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
            bytes += folder_.Read(entry.path().filename());
        }
        return bytes;
    }

  private:
    Testing::TemporaryFolder folder_;
};

}  // namespace MuxProxy
