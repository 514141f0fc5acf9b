#include "proxy/configuration/ObjectReader.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <set>
#include <utility>

#include "json/Reading.h"

namespace MuxProxy {
namespace {

using rapidjson::Value;

constexpr std::uint32_t kMostSeconds = 86400;
constexpr std::uint32_t kMostMinutes = 1440;
constexpr std::uint32_t kMostHours = 720;
constexpr std::uint32_t kMostCount = 1000000;

// "3-5", also "-7--5".
std::optional<NumberSet::Range> RangeIn(const std::string& text) {
    const char* const end = text.data() + text.size();
    NumberSet::Range range{};
    const auto first = std::from_chars(text.data(), end, range.first);
    if (first.ec != std::errc() || first.ptr == end || *first.ptr != '-') {
        return std::nullopt;
    }
    const auto last = std::from_chars(first.ptr + 1, end, range.last);
    const bool isRange = last.ec == std::errc() && last.ptr == end && range.first <= range.last;
    return isRange ? std::make_optional(range) : std::nullopt;
}

std::optional<NumberSet::Range> RangeOf(const Value& value) {
    if (value.IsInt()) {
        return NumberSet::Range{value.GetInt(), value.GetInt()};
    }
    return value.IsString() ? RangeIn(Json::StringOf(value)) : std::nullopt;
}

}  // namespace

void ObjectReader::Read(const Value& value, const std::string& pointer, const ObjectMembers& members) {
    if (!value.IsObject()) {
        Complain(pointer, "must be an object");
        return;
    }
    std::set<std::string> names;
    for (const auto& content : value.GetObject()) {
        const std::string name = Json::StringOf(content.name);
        const std::string at = std::string(pointer).append("/").append(name);
        const auto member =
            std::find_if(members.begin(), members.end(), [&](const ObjectMember& known) { return known.name == name; });
        if (member == members.end()) {
            Complain(at, "is unknown");
        } else if (!names.insert(name).second) {
            Complain(at, "occurs more than once");
        } else {
            member->read(content.value, at);
        }
    }
    for (const ObjectMember& member : members) {
        if (member.isRequired && Json::FindMember(value, member.name) == nullptr) {
            Complain(pointer, std::string("lacks \"") + member.name + '"');
        }
    }
}

ObjectMember ObjectReader::Object(const char* name, ObjectMembers members) {
    return {name, [this, members = std::move(members)](const Value& value, const std::string& pointer) {
                Read(value, pointer, members);
            }};
}

ObjectMember ObjectReader::Array(const char* name, std::function<void(const Value&, const std::string&)> readElement) {
    return {name, [this, readElement = std::move(readElement)](const Value& value, const std::string& pointer) {
                ReadElements(value, pointer, readElement);
            }};
}

void ObjectReader::ReadElements(const Value& value, const std::string& pointer,
                                const std::function<void(const Value&, const std::string&)>& readElement) {
    if (!value.IsArray()) {
        Complain(pointer, "must be an array");
        return;
    }
    for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
        readElement(value[i], pointer + '/' + std::to_string(i));
    }
}

ObjectMember ObjectReader::Text(const char* name, std::string& target) {
    return {name,
            [this, &target](const Value& value, const std::string& pointer) { TakeText(value, pointer, target); }};
}

ObjectMember ObjectReader::Text(const char* name, std::string& target, bool (*isFit)(std::string_view),
                                const char* what) {
    return {name, [this, &target, isFit, what](const Value& value, const std::string& pointer) {
                if (value.IsString() && isFit(Json::StringOf(value))) {
                    target = Json::StringOf(value);
                } else {
                    Complain(pointer, std::string("must be ") + what);
                }
            }};
}

ObjectMember ObjectReader::Texts(const char* name, std::vector<std::string>& target) {
    return {name, [this, &target](const Value& value, const std::string& pointer) {
                target.clear();
                ReadElements(value, pointer, [&](const Value& element, const std::string& at) {
                    TakeText(element, at, target.emplace_back());
                });
            }};
}

ObjectMember ObjectReader::Port(const char* name, std::uint16_t& target) {
    return {name, [this, &target](const Value& value, const std::string& pointer) {
                std::uint32_t port = target;
                Integer(value, pointer, 1, 65535, port);
                target = static_cast<std::uint16_t>(port);
            }};
}

ObjectMember ObjectReader::Count(const char* name, std::uint32_t& target) {
    return {name, [this, &target](const Value& value, const std::string& pointer) {
                Integer(value, pointer, 1, kMostCount, target);
            }};
}

ObjectMember ObjectReader::Seconds(const char* name, std::uint32_t lowest, std::chrono::seconds& target) {
    return {name, [this, lowest, &target](const Value& value, const std::string& pointer) {
                std::uint32_t seconds = 0;
                target =
                    Integer(value, pointer, lowest, kMostSeconds, seconds) ? std::chrono::seconds(seconds) : target;
            }};
}

ObjectMember ObjectReader::Minutes(const char* name, std::chrono::minutes& target) {
    return {name, [this, &target](const Value& value, const std::string& pointer) {
                std::uint32_t minutes = 0;
                target = Integer(value, pointer, 1, kMostMinutes, minutes) ? std::chrono::minutes(minutes) : target;
            }};
}

ObjectMember ObjectReader::Hours(const char* name, std::chrono::hours& target) {
    return {name, [this, &target](const Value& value, const std::string& pointer) {
                std::uint32_t hours = 0;
                target = Integer(value, pointer, 1, kMostHours, hours) ? std::chrono::hours(hours) : target;
            }};
}

ObjectMember ObjectReader::Flag(const char* name, bool& target) {
    return {name, [this, &target](const Value& value, const std::string& pointer) {
                if (value.IsBool()) {
                    target = value.GetBool();
                } else {
                    Complain(pointer, "must be true or false");
                }
            }};
}

ObjectMember ObjectReader::Numbers(const char* name, NumberSet& target) {
    return {name, [this, &target](const Value& value, const std::string& pointer) {
                if (value.IsString() && Json::StringOf(value) == "all") {
                    target = NumberSet::All();
                    return;
                }
                std::vector<NumberSet::Range> ranges;
                ReadElements(value, pointer, [&](const Value& element, const std::string& at) {
                    const std::optional<NumberSet::Range> range = RangeOf(element);
                    if (range) {
                        ranges.push_back(*range);
                    } else {
                        Complain(at, "must be an integer, or a range such as \"3-5\"");
                    }
                });
                target = NumberSet(std::move(ranges));
            }};
}

ObjectMember ObjectReader::Rights(const char* name, RightSet& target) {
    return {name, [this, &target](const Value& value, const std::string& pointer) {
                ReadElements(value, pointer,
                             [&](const Value& element, const std::string& at) { TakeRight(element, at, target); });
            }};
}

ObjectMember ObjectReader::Required(ObjectMember member) {
    member.isRequired = true;
    return member;
}

bool ObjectReader::Integer(const Value& value, const std::string& pointer, std::uint32_t lowest, std::uint32_t highest,
                           std::uint32_t& target) {
    const bool isFit = value.IsUint() && value.GetUint() >= lowest && value.GetUint() <= highest;
    if (isFit) {
        target = value.GetUint();
    } else {
        Complain(pointer, "must be an integer from " + std::to_string(lowest) + " to " + std::to_string(highest));
    }
    return isFit;
}

void ObjectReader::TakeText(const Value& value, const std::string& pointer, std::string& target) {
    if (value.IsString() && value.GetStringLength() != 0) {
        target = Json::StringOf(value);
    } else {
        Complain(pointer, "must be a text that is not empty");
    }
}

void ObjectReader::TakeRight(const Value& value, const std::string& pointer, RightSet& target) {
    std::string known;
    for (std::size_t i = 0; i < kRightCount; ++i) {
        const std::string_view name = RightName(static_cast<Right>(i));
        if (value.IsString() && Json::StringOf(value) == name) {
            target.set(i);
            return;
        }
        known.append(i == 0 ? "" : ", ").append(name);
    }
    Complain(pointer, "is no right; there are " + known);
}

void ObjectReader::Complain(const std::string& pointer, const std::string& text) {
    const JsonPositions::Position position = positions_.At(pointer);
    const std::string what = pointer.empty() ? "the file" : pointer.substr(1);
    findings_.push_back({true, position.line, position.column, what + ' ' + text});
}

}  // namespace MuxProxy
