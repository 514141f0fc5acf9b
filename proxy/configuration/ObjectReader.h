#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "json/RapidJson.h"
#include "proxy/configuration/ConfigurationReader.h"
#include "proxy/configuration/JsonPositions.h"

namespace MuxProxy {

// One member of an object in the configuration file.
struct ObjectMember {
    const char* name;
    // Takes the value and its pointer (RFC 6901).
    std::function<void(const rapidjson::Value&, const std::string&)> read;
    bool isRequired = false;
};

using ObjectMembers = std::vector<ObjectMember>;

// Reads objects of the configuration file by tables of their members, and writes down each value that cannot be used.
// What such a member stands for keeps its default. For one thread; the text, the findings and the targets outlive it.
class ObjectReader {
  public:
    ObjectReader(const std::string& text, std::vector<Finding>& findings) : positions_(text), findings_(findings) {}

    void Read(const rapidjson::Value& value, const std::string& pointer, const ObjectMembers& members);

    // Members of these types. An object's own members are read when it is there.
    ObjectMember Object(const char* name, ObjectMembers members);
    // An object whose absence means something. `members` makes its members from this reader and the new object.
    template <typename Section, typename Members>
    ObjectMember Optional(const char* name, std::optional<Section>& target, Members members) {
        return {name, [this, &target, members](const rapidjson::Value& value, const std::string& pointer) {
                    Read(value, pointer, members(*this, target.emplace()));
                }};
    }
    ObjectMember Array(const char* name, std::function<void(const rapidjson::Value&, const std::string&)> readElement);
    ObjectMember Text(const char* name, std::string& target);
    // A text that `isFit`; otherwise it "must be" what is said here.
    ObjectMember Text(const char* name, std::string& target, bool (*isFit)(std::string_view), const char* what);
    ObjectMember Texts(const char* name, std::vector<std::string>& target);
    ObjectMember Port(const char* name, std::uint16_t& target);
    ObjectMember Count(const char* name, std::uint32_t& target);
    ObjectMember Seconds(const char* name, std::uint32_t lowest, std::chrono::seconds& target);
    ObjectMember Minutes(const char* name, std::chrono::minutes& target);
    ObjectMember Hours(const char* name, std::chrono::hours& target);
    ObjectMember Flag(const char* name, bool& target);
    // "all", or an array of integers and of ranges such as "3-5".
    ObjectMember Numbers(const char* name, NumberSet& target);
    ObjectMember Rights(const char* name, RightSet& target);

    static ObjectMember Required(ObjectMember member);

    // Writes down that something is wrong with the value of this pointer, such as that others are missing.
    void Complain(const std::string& pointer, const std::string& text);

  private:
    bool Integer(const rapidjson::Value& value, const std::string& pointer, std::uint32_t lowest, std::uint32_t highest,
                 std::uint32_t& target);
    void TakeText(const rapidjson::Value& value, const std::string& pointer, std::string& target);
    void TakeRight(const rapidjson::Value& value, const std::string& pointer, RightSet& target);
    void ReadElements(const rapidjson::Value& value, const std::string& pointer,
                      const std::function<void(const rapidjson::Value&, const std::string&)>& readElement);

    const JsonPositions positions_;
    std::vector<Finding>& findings_;
};

}  // namespace MuxProxy
