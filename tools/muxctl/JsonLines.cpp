#include "tools/muxctl/JsonLines.h"

#include "json/Utf8.h"

namespace Muxctl {

void WriteValue(JsonWriter& writer, const std::string& text) {
    const std::string valid = Json::InUtf8(text);
    writer.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

void Write(JsonWriter& writer, const char* key, const std::string& text) {
    writer.Key(key);
    WriteValue(writer, text);
}

}  // namespace Muxctl
