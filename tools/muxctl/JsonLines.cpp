#include "tools/muxctl/JsonLines.h"

#include <rapidjson/memorystream.h>

#include <algorithm>
#include <string_view>

namespace Muxctl {
namespace {

// How many bytes the character at the front of `text` has, 0 when it is none.
std::size_t CharacterSize(std::string_view text) {
    rapidjson::MemoryStream stream(text.data(), text.size());
    unsigned character = 0;
    return rapidjson::UTF8<>::Decode(stream, &character) ? stream.Tell() : 0;
}

// `text` with a replacement character for every byte that belongs to none: a configuration's keys may have any bytes.
std::string InUtf8(std::string_view text) {
    std::string valid;
    while (!text.empty()) {
        const std::size_t size = CharacterSize(text);
        valid.append(size == 0 ? "\uFFFD" : text.substr(0, size));
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return valid;
}

}  // namespace

void WriteValue(JsonWriter& writer, const std::string& text) {
    const std::string valid = InUtf8(text);
    writer.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

void Write(JsonWriter& writer, const char* key, const std::string& text) {
    writer.Key(key);
    WriteValue(writer, text);
}

}  // namespace Muxctl
