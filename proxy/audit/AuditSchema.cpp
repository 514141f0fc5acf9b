#include "proxy/audit/AuditSchema.h"

namespace MuxProxy {
namespace {

std::optional<std::int32_t> Number32(const std::optional<std::int64_t>& number) {
    return number ? std::make_optional(static_cast<std::int32_t>(*number)) : std::nullopt;
}

}  // namespace

void CheckAuditVersion(const Database& database, const std::string& path) {
    if (database.Number("PRAGMA application_id") != kAuditApplication) {
        throw AuditFileError(path + ": is not an audit file");
    }
    const std::int64_t version = database.Number("PRAGMA user_version");
    if (version != kAuditVersion) {
        throw AuditFileError(path + ": has version " + std::to_string(version) + " of the tables, not " +
                             std::to_string(kAuditVersion));
    }
}

AuditRow AuditRowOf(const Statement& statement, int column) {
    AuditRow row;
    row.time = std::chrono::system_clock::time_point(std::chrono::milliseconds(statement.Number(column).value_or(0)));
    row.kind = statement.Text(++column);
    row.client = statement.Text(++column);
    row.address = statement.Text(++column);
    row.operation = statement.Text(++column);
    row.gateway = Number32(statement.Number(++column));
    row.lock = Number32(statement.Number(++column));
    row.card = statement.Text(++column);
    row.result = statement.Text(++column);
    row.errorCode = Number32(statement.Number(++column)).value_or(0);
    row.elapsed = std::chrono::milliseconds(statement.Number(++column).value_or(0));
    row.remark = statement.Text(++column);
    return row;
}

}  // namespace MuxProxy
