#include "json/Utf8.h"

#include <algorithm>

#include "json/RapidJson.h"

// Needs the settings of the former.
#include <rapidjson/memorystream.h>

namespace Json {
namespace {

// How many bytes the character at the front of `text` has, 0 when it is none.
std::size_t CharacterSize(std::string_view text) {
    rapidjson::MemoryStream stream(text.data(), text.size());
    unsigned character = 0;
    return rapidjson::UTF8<>::Decode(stream, &character) ? stream.Tell() : 0;
}

}  // namespace

std::string InUtf8(std::string_view text) {
    std::string valid;
    while (!text.empty()) {
        const std::size_t size = CharacterSize(text);
        valid.append(size == 0 ? "\uFFFD" : text.substr(0, size));
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return valid;
}

}  // namespace Json
