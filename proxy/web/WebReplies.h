#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "proxy/web/HttpSession.h"

namespace MuxProxy {

// Responses of the site, each with the headers that keep browsers to this page alone. For the network loop.

// JSON text; kept by no browser.
HttpResponse JsonReply(boost::beast::http::status status, std::string json);
// {"error":"NAME"}.
HttpResponse ErrorReply(boost::beast::http::status status, std::string_view name);
// 400 {"error":"not-valid","text":"REASON"}, for people.
HttpResponse NotValidReply(std::string_view reason);
// Something that is downloaded as a file.
HttpResponse DownloadReply(std::string text, std::string_view type, std::string_view fileName);
// The header of a stream of events (Server-sent events, WHATWG HTML).
HttpResponse StreamReply();
// Without a body: 204, 304.
HttpResponse EmptyReply(boost::beast::http::status status);
// A part of the page, compressed by gzip; the browser keeps it and asks whether it has changed.
HttpResponse FileReply(std::string_view gzip, std::string_view type, std::string_view etag);

// One event of the stream: its name, and JSON text without line ends.
std::string StreamEvent(std::string_view name, std::string_view json);

}  // namespace MuxProxy
