#include "tools/muxctl/ConfigurationShape.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

#include "json/Reading.h"
#include "json/Tree.h"
#include "tools/muxctl/NearestWord.h"

namespace Muxctl {
namespace {

using rapidjson::Value;

enum class Kind { kFlag, kInteger, kText, kList };

struct KindRow {
    const char* name;
    bool (Value::*hasType)() const;
};

// By Kind.
constexpr std::array kKinds = {
    KindRow{"true or false", &Value::IsBool},
    KindRow{"an integer", &Value::IsNumber},
    KindRow{"a string", &Value::IsString},
    KindRow{"an array", &Value::IsArray},
};

const KindRow& RowOf(Kind kind) {
    return kKinds.at(static_cast<std::size_t>(kind));
}

struct MemberShape {
    const char* key;
    Kind kind;
    bool isRequired;
    // What happens to the running Mux without the member, or with one of another type.
    const char* otherwise;
    // What each element of a list has; null for what is no list.
    const std::vector<MemberShape>* element;
};

using ObjectShape = std::vector<MemberShape>;

const ObjectShape kDeviceShape = {
    {"Name", Kind::kText, false, "the lock has no name; its door works", nullptr},
    {"ID", Kind::kInteger, true, "the Mux uses 0; the door works by its true ID", nullptr},
};

const ObjectShape kGatewayShape = {
    {"ID", Kind::kInteger, true, "the Mux uses 0; only requests for gateway 0 reach its doors", nullptr},
    {"Description", Kind::kText, false, "the gateway has no name; its doors work", nullptr},
    {"IpAddress", Kind::kText, true, kGatewayLeftOut, nullptr},
    {"Port", Kind::kInteger, true, kGatewayLeftOut, nullptr},
    {"Devices", Kind::kList, false, "the locks have no names; their doors work", &kDeviceShape},
};

const ObjectShape kConfigurationShape = {
    {"Enabled", Kind::kFlag, true, kNothingWorks, nullptr},
    {"Gateways", Kind::kList, true, kNothingWorks, &kGatewayShape},
};

// Of a longer string only the beginning is shown.
constexpr std::size_t kShownCharacters = 40;

std::string StringText(const Value& value) {
    const std::size_t size = std::min<std::size_t>(value.GetStringLength(), kShownCharacters);
    const Value shown(value.GetString(), static_cast<rapidjson::SizeType>(size));
    return Json::Text(shown) + (size < value.GetStringLength() ? "..." : "");
}

// "null", "an object", "the string \"2101\"".
std::string Described(const Value& value) {
    constexpr const char* kNames[] = {"null", "false", "true", "an object", "an array", "the string ", "the number "};
    const std::string name = kNames[value.GetType()];
    if (value.IsString()) {
        return name + StringText(value);
    }
    return value.IsNumber() ? name + Json::Text(value) : name;
}

class ShapeCheck {
  public:
    Findings Run(const Value& document) {
        if (document.IsObject()) {
            CheckObject(document, kConfigurationShape, "");
        } else {
            Warn("", "must be an object, not " + Described(document) + "; " + kNothingWorks);
        }
        return std::move(findings_);
    }

  private:
    void Warn(const std::string& where, const std::string& text) {
        findings_.push_back({Finding::Level::kWarning, where, text});
    }
    void Refuse(const std::string& where, const std::string& text) {
        findings_.push_back(
            {Finding::Level::kError, where, text + "; the Mux would abort at every start, and no door works"});
    }

    void CheckObject(const Value& object, const ObjectShape& shape, const std::string& prefix) {
        CheckKeys(object, shape, prefix);
        for (const MemberShape& member : shape) {
            const auto found = object.FindMember(member.key);
            if (found != object.MemberEnd()) {
                CheckMember(found->value, member, prefix + member.key);
            } else if (member.isRequired) {
                Warn(prefix + member.key, std::string("is missing; ") + member.otherwise);
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
        std::vector<std::string_view> keys;
        keys.reserve(shape.size());
        for (const MemberShape& known : shape) {
            keys.emplace_back(known.key);
        }
        const std::string_view nearest = NearestWord(key, keys);
        return nearest.empty() ? "" : "; did you mean \"" + std::string(nearest) + "\"?";
    }

    void CheckMember(const Value& value, const MemberShape& member, const std::string& where) {
        if (!(value.*RowOf(member.kind).hasType)()) {
            Warn(where, std::string("must be ") + RowOf(member.kind).name + ", not " + Described(value) + "; " +
                            member.otherwise);
        } else if (member.kind == Kind::kInteger && !value.IsInt()) {
            Refuse(where, "must be a 32-bit integer, not " + Described(value));
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
                Refuse(element, "must be an object, not " + Described(list[index]));
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
