#include "proxy/web/WebExchange.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <system_error>

#include "proxy/web/WebReplies.h"

namespace MuxProxy {
namespace {

namespace http = boost::beast::http;

// Nothing if an encoding is not two hexadecimal digits, or encodes a NUL.
std::optional<std::string> Decoded(std::string_view text, bool isQuery) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += isQuery && text[i] == '+' ? ' ' : text[i];
            continue;
        }
        const std::string_view digits = text.substr(i + 1, 2);
        unsigned byte = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        if (digits.size() != 2 || error != std::errc() || end != digits.data() + 2 || byte == 0) {
            return std::nullopt;
        }
        decoded += static_cast<char>(byte);
        i += 2;
    }
    return decoded;
}

// The text up to the separator; what follows it stays in `text`.
std::string_view TakeUntil(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return taken;
}

std::string_view ViewOf(boost::beast::string_view text) {
    return {text.data(), text.size()};
}

}  // namespace

void DoStep(const WebExchangePointer& exchange, const std::function<void()>& step) {
    try {
        step();
    } catch (const std::exception& error) {
        std::cerr << "<3>A request of the page failed: " + std::string(error.what()) + '\n';
        exchange->Answer(ErrorReply(http::status::internal_server_error, "failed"));
    }
}

bool ReadTarget(std::string_view target, WebExchange& exchange) {
    const std::optional<std::string> path = Decoded(TakeUntil(target, '?'), false);
    if (!path || path->empty() || path->front() != '/') {
        return false;
    }
    exchange.path = *path;
    while (!target.empty()) {
        std::string_view pair = TakeUntil(target, '&');
        const std::optional<std::string> name = Decoded(TakeUntil(pair, '='), true);
        const std::optional<std::string> value = Decoded(pair, true);
        if (!name || !value) {
            return false;
        }
        exchange.query[*name] = *value;
    }
    return true;
}

std::string CookieOf(const HttpRequest& request, std::string_view name) {
    std::string_view cookies = ViewOf(request[http::field::cookie]);
    while (!cookies.empty()) {
        std::string_view cookie = TakeUntil(cookies, ';');
        cookie.remove_prefix(std::min(cookie.find_first_not_of(' '), cookie.size()));
        if (TakeUntil(cookie, '=') == name) {
            return std::string(cookie);
        }
    }
    return "";
}

}  // namespace MuxProxy
