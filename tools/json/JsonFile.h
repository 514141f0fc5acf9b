#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "json/RapidJson.h"

namespace Tools {

// A value of a JSON file with its place, for errors such as "site.json: Gateways[0].Port must be a number from 0 to
// 65535".
//
// Refers to the document, which must outlive it. Every mismatch throws InputError.
class JsonNode {
  public:
    JsonNode(const std::string& file, const rapidjson::Value& value, std::string place = "")
        : file_(file), value_(value), place_(std::move(place)) {}

    // Makes sure that this is an object without any other members.
    void AllowMembers(std::initializer_list<const char*> names) const;

    // A member of this object; nothing when it is left out.
    std::optional<JsonNode> Member(const char* name) const;
    // The same for one that must be there.
    JsonNode Required(const char* name) const;
    // The elements of a member that is an array; none when it is left out.
    std::vector<JsonNode> Elements(const char* name) const;

    // The value of a member, or another one when it is left out.
    std::int64_t NumberOr(const char* name, std::int64_t otherwise, std::int64_t least, std::int64_t greatest) const;
    bool BooleanOr(const char* name, bool otherwise) const;
    std::string TextOr(const char* name, const std::string& otherwise) const;

    std::int64_t Number(std::int64_t least, std::int64_t greatest) const;
    bool Boolean() const;
    std::string Text() const;

    // Throws a InputError with this fault of the value, such as "must be a number".
    [[noreturn]] void Refuse(const std::string& fault) const;

  private:
    std::string file_;
    std::reference_wrapper<const rapidjson::Value> value_;
    std::string place_;
};

// Parses a text and passes its value to `read`, which must not keep any of it. Throws InputError, such as "site.json:
// is not JSON: line 3, column 14: ...", and what `read` throws.
void ReadJson(const std::string& file, const std::string& text, const std::function<void(const JsonNode& root)>& read);

}  // namespace Tools
