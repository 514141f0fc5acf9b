#include "proxy/web/WebReplies.h"

#include <utility>

#include "proxy/requests/JsonObject.h"

namespace MuxProxy {
namespace {

namespace http = boost::beast::http;

// Nothing is loaded from elsewhere, nothing runs that is not a file of this page, and nobody shows it in a frame.
constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'";

HttpResponse Reply(http::status status) {
    HttpResponse response(status, 11);
    response.set("Content-Security-Policy", kPolicy);
    response.set("Cross-Origin-Opener-Policy", "same-origin");
    response.set("Cross-Origin-Resource-Policy", "same-origin");
    response.set("Referrer-Policy", "no-referrer");
    response.set("X-Content-Type-Options", "nosniff");
    response.set(http::field::cache_control, "no-store");
    return response;
}

HttpResponse ReplyWith(std::string body, std::string_view type) {
    HttpResponse response = Reply(http::status::ok);
    response.set(http::field::content_type, std::string(type));
    response.body() = std::move(body);
    return response;
}

}  // namespace

HttpResponse JsonReply(http::status status, std::string json) {
    HttpResponse response = ReplyWith(std::move(json), "application/json");
    response.result(status);
    return response;
}

HttpResponse ErrorReply(http::status status, std::string_view name) {
    return JsonReply(status, JsonObject().Text("error", name).Json());
}

HttpResponse NotValidReply(std::string_view reason) {
    return JsonReply(http::status::bad_request, JsonObject().Text("error", "not-valid").Text("text", reason).Json());
}

HttpResponse DownloadReply(std::string text, std::string_view type, std::string_view fileName) {
    HttpResponse response = ReplyWith(std::move(text), type);
    response.set(http::field::content_disposition, "attachment; filename=\"" + std::string(fileName) + '"');
    return response;
}

HttpResponse StreamReply() {
    HttpResponse response = ReplyWith("", "text/event-stream");
    response.keep_alive(false);
    return response;
}

HttpResponse EmptyReply(http::status status) {
    return Reply(status);
}

HttpResponse FileReply(std::string_view gzip, std::string_view type, std::string_view etag) {
    HttpResponse response = ReplyWith(std::string(gzip), type);
    response.set(http::field::content_encoding, "gzip");
    response.set(http::field::cache_control, "no-cache");
    response.set(http::field::etag, std::string(etag));
    return response;
}

std::string StreamEvent(std::string_view name, std::string_view json) {
    std::string event("event: ");
    event.append(name).append("\ndata: ").append(json).append("\n\n");
    return event;
}

}  // namespace MuxProxy
