#include "proxy/web/WebAudit.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "proxy/mqtt/MessageMaker.h"
#include "proxy/requests/JsonObject.h"
#include "proxy/web/WebReplies.h"

namespace MuxProxy {
namespace {

namespace http = boost::beast::http;

constexpr std::uint64_t kUsualPage = 100;

using Parameters = std::map<std::string, std::string>;

// A parameter that is not what it must be.
class ParameterFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

template <typename Number>
Number NumberOf(std::string_view text, const std::string& name) {
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw ParameterFault(name + " must be an integer");
    }
    return number;
}

std::optional<std::string> TextIn(const Parameters& parameters, const std::string& name) {
    const auto found = parameters.find(name);
    return found != parameters.end() && !found->second.empty() ? std::make_optional(found->second) : std::nullopt;
}

template <typename Number>
std::optional<Number> NumberIn(const Parameters& parameters, const std::string& name) {
    const std::optional<std::string> text = TextIn(parameters, name);
    return text ? std::make_optional(NumberOf<Number>(*text, name)) : std::nullopt;
}

// Later times than the clock of the system can have count as none.
std::optional<WallClockTime> TimeIn(const Parameters& parameters, const std::string& name) {
    constexpr std::int64_t kLatest = 253402300799999;  // 9999-12-31
    const std::optional<std::int64_t> time = NumberIn<std::int64_t>(parameters, name);
    if (time && (*time < 0 || *time > kLatest)) {
        throw ParameterFault(name + " must be milliseconds since 1970");
    }
    return time ? std::make_optional(WallClockTime(std::chrono::milliseconds(*time))) : std::nullopt;
}

// "TIME.ID"
std::optional<AuditPlace> PlaceIn(const Parameters& parameters) {
    const std::optional<std::string> text = TextIn(parameters, "before");
    if (!text) {
        return std::nullopt;
    }
    const std::size_t point = std::min(text->find('.'), text->size());
    const std::string_view view = *text;
    return AuditPlace{NumberOf<std::int64_t>(view.substr(0, point), "before"),
                      NumberOf<std::int64_t>(view.substr(std::min(point + 1, view.size())), "before")};
}

AuditQuery QueryOf(const Parameters& parameters, const std::string& file) {
    AuditQuery query;
    query.file = file;
    query.since = TimeIn(parameters, "since");
    query.until = TimeIn(parameters, "until");
    query.gateway = NumberIn<std::int32_t>(parameters, "gateway");
    query.lock = NumberIn<std::int32_t>(parameters, "lock");
    query.client = TextIn(parameters, "client");
    query.kind = TextIn(parameters, "kind");
    query.result = TextIn(parameters, "result");
    query.isUtc = true;
    return query;
}

std::string NumberOrNull(const std::optional<std::int32_t>& number) {
    return number ? std::to_string(*number) : "null";
}

std::string TextOf(const AuditEntry& entry) {
    const AuditRow& row = entry.row;
    return JsonObject()
        .Number("id", entry.id)
        .Number("time", MillisecondsOf(row.time))
        .Text("kind", row.kind)
        .Text("client", row.client)
        .Text("address", row.address)
        .Text("operation", row.operation)
        .Value("gateway", NumberOrNull(row.gateway))
        .Value("lock", NumberOrNull(row.lock))
        .Text("card", row.card)
        .Text("result", row.result)
        .Number("errorCode", row.errorCode)
        .Number("milliseconds", row.elapsed.count())
        .Text("remark", row.remark)
        .Json();
}

std::string PageText(const std::vector<AuditEntry>& entries, std::uint64_t limit) {
    std::vector<std::string> texts;
    texts.reserve(entries.size());
    for (const AuditEntry& entry : entries) {
        texts.push_back(TextOf(entry));
    }
    JsonObject page;
    page.Values("rows", texts);
    if (entries.size() == limit) {
        const AuditEntry& last = entries.back();
        page.Text("before", std::to_string(MillisecondsOf(last.row.time)) + '.' + std::to_string(last.id));
    } else {
        page.Value("before", "null");
    }
    return page.Json();
}

HttpResponse ResponseOf(const std::function<HttpResponse()>& read) {
    try {
        return read();
    } catch (const std::exception& error) {
        std::cerr << "<4>The audit cannot be read for the page: " + std::string(error.what()) + '\n';
        return ErrorReply(http::status::service_unavailable, "not-readable");
    }
}

}  // namespace

WebAudit::WebAudit(std::string file, Aside& disk) : file_(std::move(file)), disk_(disk) {}

void WebAudit::Show(const WebExchangePointer& exchange) {
    try {
        AuditQuery query = QueryOf(exchange->query, file_);
        const auto before = PlaceIn(exchange->query);
        query.limit = NumberIn<std::uint64_t>(exchange->query, "limit").value_or(kUsualPage);
        if (query.limit == 0 || query.limit > kMostOfPage) {
            throw ParameterFault("limit must be 1 to " + std::to_string(kMostOfPage));
        }
        Read(exchange, [query, before] {
            return JsonReply(http::status::ok, PageText(ReadAuditPage(query, before), query.limit));
        });
    } catch (const ParameterFault& fault) {
        exchange->Answer(NotValidReply(fault.what()));
    }
}

void WebAudit::Download(const WebExchangePointer& exchange) {
    try {
        AuditQuery query = QueryOf(exchange->query, file_);
        query.limit = kMostOfDownload;
        query.format = AuditFormat::kCsv;
        Read(exchange, [query] {
            std::ostringstream text;
            RunAudit(query, text);
            return DownloadReply(text.str(), "text/csv; charset=utf-8", "audit.csv");
        });
    } catch (const ParameterFault& fault) {
        exchange->Answer(NotValidReply(fault.what()));
    }
}

void WebAudit::Read(const WebExchangePointer& exchange, std::function<HttpResponse()> read) {
    if (reading_ >= kMostReading) {
        exchange->Answer(ErrorReply(http::status::service_unavailable, "too-many"));
        return;
    }
    ++reading_;
    const auto response = std::make_shared<HttpResponse>();
    disk_.Do([response, read = std::move(read)] { *response = ResponseOf(read); },
             [this, exchange, response] {
                 --reading_;
                 exchange->Answer(std::move(*response));
             });
}

}  // namespace MuxProxy
