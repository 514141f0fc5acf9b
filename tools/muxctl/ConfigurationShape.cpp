#include "tools/muxctl/ConfigurationShape.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include "json/Reading.h"

namespace Muxctl {
namespace {

using rapidjson::Value;

enum class Kind { kFlag, kInteger, kText, kList };

struct KindRow {
    const char* name;
    // What the Mux takes in place of a value of another type.
    const char* otherwise;
    bool (Value::*hasType)() const;
};

// By Kind.
constexpr std::array kKinds = {
    KindRow{"true or false", "false", &Value::IsBool},
    KindRow{"an integer", "0", &Value::IsNumber},
    KindRow{"a string", "an empty string", &Value::IsString},
    KindRow{"an array", "an empty array", &Value::IsArray},
};

const KindRow& RowOf(Kind kind) {
    return kKinds.at(static_cast<std::size_t>(kind));
}

struct MemberShape {
    const char* key;
    Kind kind;
    bool isRequired;
    // What each element of a list has; null for what is no list.
    const std::vector<MemberShape>* element;
};

using ObjectShape = std::vector<MemberShape>;

// Of what is not required the Mux makes nothing. A missing "Enabled", "IpAddress" or "Port" shows in its value.
const ObjectShape kDeviceShape = {
    {"Name", Kind::kText, false, nullptr},
    {"ID", Kind::kInteger, true, nullptr},
};

const ObjectShape kGatewayShape = {
    {"ID", Kind::kInteger, true, nullptr},          {"Description", Kind::kText, false, nullptr},
    {"IpAddress", Kind::kText, false, nullptr},     {"Port", Kind::kInteger, false, nullptr},
    {"Devices", Kind::kList, false, &kDeviceShape},
};

const ObjectShape kConfigurationShape = {
    {"Enabled", Kind::kFlag, false, nullptr},
    {"Gateways", Kind::kList, false, &kGatewayShape},
};

const char* NameOf(const Value& value) {
    constexpr const char* kNames[] = {"null", "false", "true", "an object", "an array", "a string", "a number"};
    return kNames[value.GetType()];
}

class ShapeCheck {
  public:
    Findings Run(const Value& document) {
        if (document.IsObject()) {
            CheckObject(document, kConfigurationShape, "");
        } else {
            Warn("", std::string("is ") + NameOf(document) + ", not an object; nothing is configured");
        }
        return std::move(findings_);
    }

  private:
    void Warn(const std::string& where, const std::string& text) {
        findings_.push_back({Finding::Level::kWarning, where, text});
    }
    void Refuse(const std::string& where, const std::string& text) {
        findings_.push_back({Finding::Level::kError, where, text + "; the Mux would abort"});
    }

    void CheckObject(const Value& object, const ObjectShape& shape, const std::string& prefix) {
        CheckKeys(object, shape, prefix);
        for (const MemberShape& member : shape) {
            const auto found = object.FindMember(member.key);
            if (found != object.MemberEnd()) {
                CheckMember(found->value, member, prefix + member.key);
            } else if (member.isRequired) {
                Warn(prefix + member.key, std::string("is missing; the Mux uses ") + RowOf(member.kind).otherwise);
            }
        }
    }

    void CheckKeys(const Value& object, const ObjectShape& shape, const std::string& prefix) {
        std::set<const MemberShape*> seen;
        for (const auto& member : object.GetObject()) {
            const std::string key = Json::StringOf(member.name);
            const auto isKey = [&](const MemberShape& known) { return key == known.key; };
            const auto known = std::find_if(shape.begin(), shape.end(), isKey);
            if (known == shape.end()) {
                Warn(prefix + key, "is unknown and ignored" + SuggestionFor(key, shape));
            } else if (!seen.insert(&*known).second) {
                Warn(prefix + key, "is duplicate; the Mux uses the first");
            }
        }
    }

    static std::string SuggestionFor(const std::string& key, const ObjectShape& shape) {
        const auto found = std::find_if(shape.begin(), shape.end(), [&](const MemberShape& known) {
            return strcasecmp(key.c_str(), known.key) == 0;
        });
        return found == shape.end() ? "" : std::string("; did you mean \"") + found->key + "\"";
    }

    void CheckMember(const Value& value, const MemberShape& member, const std::string& where) {
        if (!(value.*RowOf(member.kind).hasType)()) {
            Warn(where, std::string("must be ") + RowOf(member.kind).name + ", not " + NameOf(value) +
                            "; the Mux uses " + RowOf(member.kind).otherwise);
        } else if (member.kind == Kind::kInteger && !value.IsInt()) {
            Refuse(where, "must be a 32-bit integer");
        } else if (member.kind == Kind::kList) {
            CheckElements(value, *member.element, where);
        }
    }

    void CheckElements(const Value& list, const ObjectShape& shape, const std::string& where) {
        for (rapidjson::SizeType index = 0; index < list.Size(); ++index) {
            const std::string element = where + "[" + std::to_string(index) + "]";
            if (list[index].IsObject()) {
                CheckObject(list[index], shape, element + ".");
            } else {
                Refuse(element, std::string("must be an object, not ") + NameOf(list[index]));
            }
        }
    }

    Findings findings_;
};

}  // namespace

Findings CheckShape(const Value& document) {
    return ShapeCheck().Run(document);
}

}  // namespace Muxctl
