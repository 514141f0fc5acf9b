#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

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

    std::string Json() const { return '{' + members_ + '}'; }

  private:
    JsonObject& Member(std::string_view name, std::string_view json);

    std::string members_;
};

// The object's text with this member in front of the others.
std::string WithFirstText(std::string_view name, std::string_view text, std::string_view object);

}  // namespace MuxProxy
