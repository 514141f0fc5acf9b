#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace MuxProxy {

// Writes a JSON object member by member. A value; one thread.
class JsonObject {
  public:
    // Bytes that are not UTF-8 are replaced.
    JsonObject& Text(std::string_view name, std::string_view text);
    JsonObject& Number(std::string_view name, std::int64_t number);
    JsonObject& Flag(std::string_view name, bool flag);
    JsonObject& Texts(std::string_view name, std::initializer_list<std::string_view> texts);
    JsonObject& Object(std::string_view name, const JsonObject& object);
    JsonObject& Objects(std::string_view name, std::initializer_list<JsonObject> objects);
    // Values that are JSON already: one, null without a text, or several.
    JsonObject& Value(std::string_view name, std::string_view json) {
        return Member(name, json.empty() ? std::string_view("null") : json);
    }
    JsonObject& Values(std::string_view name, const std::vector<std::string>& jsons);

    std::string Json() const { return '{' + members_ + '}'; }

  private:
    JsonObject& Member(std::string_view name, std::string_view json);

    std::string members_;
};

// "[1,2]" of texts that are JSON already. Any thread.
std::string JsonArray(const std::vector<std::string>& jsons);

// The object's text with this member in front of the others.
std::string WithFirstText(std::string_view name, std::string_view text, std::string_view object);

}  // namespace MuxProxy
