#include "proxy/audit/AuditSchema.h"

namespace MuxProxy {

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

}  // namespace MuxProxy
