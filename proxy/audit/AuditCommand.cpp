#include "proxy/audit/AuditCommand.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <memory>

#include "proxy/audit/AuditReader.h"
#include "proxy/audit/AuditTimes.h"

namespace MuxProxy {
namespace {

// The options as they are given.
struct AuditOptions {
    AuditQuery query;
    std::string since;
    std::string until;
    bool isJson = false;
    bool isCsv = false;
};

// The library itself reads other notations too, and takes 010 for 8.
template <typename Integer>
std::string CheckWhole(const std::string& text) {
    Integer number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    const bool isWhole = error == std::errc() && rest == end && std::to_string(number) == text;
    return isWhole ? "" : "must be a decimal integer (no leading zeros), not " + text;
}

std::string CheckTime(const std::string& text) {
    return ParseAuditTime(text, std::chrono::system_clock::now(), false)
               ? ""
               : std::string("must be a time such as ") + kAuditTimeForms + ", not " + text;
}

template <typename Number>
void AddNumberOption(CLI::App& app, const char* name, Number& number, const char* help) {
    using Integer = std::conditional_t<std::is_same_v<Number, std::uint64_t>, std::uint64_t, std::int32_t>;
    app.add_option(name, number, help)->check(CheckWhole<Integer>)->type_name("INT");
}

void AddFilters(CLI::App& app, AuditOptions& options) {
    app.add_option("--since", options.since, std::string("Rows from this time on: ") + kAuditTimeForms)
        ->check(CheckTime)
        ->type_name("TIME");
    app.add_option("--until", options.until, "Rows before this time")->check(CheckTime)->type_name("TIME");
    AddNumberOption(app, "--gateway", options.query.gateway, "Rows of this gateway");
    AddNumberOption(app, "--lock", options.query.lock, "Rows of locks with this ID");
    app.add_option("--client", options.query.client, "Rows of this client");
    app.add_option("--kind", options.query.kind, "Rows of this kind: request, event, connection, mux, proxy");
    app.add_option("--result", options.query.result, "Rows with this result, such as ack");
    AddNumberOption(app, "--limit", options.query.limit, "Only the last rows, this many; 0 = all");
}

void AddFormats(CLI::App& app, AuditOptions& options) {
    CLI::Option* const json = app.add_flag("--json", options.isJson, "Print JSON, one line each");
    app.add_flag("--csv", options.isCsv, "Print CSV (RFC 4180)")->excludes(json);
    app.add_flag("--utc", options.query.isUtc, "Read and print times in UTC instead of local time");
}

int Run(const AuditOptions& options, const AuditFileFinder& fileOf, std::ostream& output) {
    const auto now = std::chrono::system_clock::now();
    AuditQuery query = options.query;
    query.file = fileOf();
    query.since = ParseAuditTime(options.since, now, query.isUtc);
    query.until = ParseAuditTime(options.until, now, query.isUtc);
    query.format = options.isJson ? AuditFormat::kJson : options.isCsv ? AuditFormat::kCsv : AuditFormat::kTable;
    return RunAudit(query, output);
}

}  // namespace

AuditCommand AddAuditCommand(CLI::App& app, const AuditFileFinder& fileOf) {
    const auto options = std::make_shared<AuditOptions>();
    CLI::App* const command = app.add_subcommand("audit", "Print who did what, when and with which result");
    command->fallthrough();
    AddFilters(*command, *options);
    AddFormats(*command, *options);
    return {command, [options, fileOf](std::ostream& output) { return Run(*options, fileOf, output); }};
}

}  // namespace MuxProxy
