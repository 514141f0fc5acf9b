#pragma once

#include <string_view>

namespace MuxProxy {

// A file of the page as a browser gets it. Its texts exist for the life of the program.
struct WebFile {
    // In the address: "/page.js".
    std::string_view path;
    // For Content-Type.
    std::string_view type;
    // For Content-Encoding: gzip; there is no other form of it.
    std::string_view gzip;
    // For ETag, with its quotes. Changes with the content.
    std::string_view etag;
};

// Null for another path than "/", "/page.js", "/page.css" or "/icon.svg". Any thread.
const WebFile* FindWebFile(std::string_view path);

}  // namespace MuxProxy
