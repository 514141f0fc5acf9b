#include "mux/configuration/MuxConfigurationParser.h"

#include <utility>

#include "json/Reading.h"

namespace Mux::Configuration {
namespace {

using Json::FindMember;

std::int32_t IntegerOrZero(const rapidjson::Value& object, const char* name) {
    const auto* value = FindMember(object, name);
    return value != nullptr && value->IsNumber() ? value->GetInt() : 0;
}

std::string TextOrEmpty(const rapidjson::Value& object, const char* name) {
    const auto* value = FindMember(object, name);
    return value != nullptr && value->IsString() ? Json::StringOf(*value) : std::string();
}

// The records that `read` makes of the elements of the array `name`; none when there is no such array. An element that
// is no object is refused by the first look-up in it.
template <typename Record>
std::vector<Record> RecordsIn(const rapidjson::Value& object, const char* name,
                              Record (*read)(const rapidjson::Value&)) {
    std::vector<Record> records;
    const auto* list = FindMember(object, name);
    if (list != nullptr && list->IsArray()) {
        for (const auto& element : list->GetArray()) {
            records.push_back(read(element));
        }
    }
    return records;
}

DeviceConfiguration ReadDevice(const rapidjson::Value& element) {
    DeviceConfiguration device;
    device.name = TextOrEmpty(element, "Name");
    device.id = IntegerOrZero(element, "ID");
    return device;
}

GatewayConfiguration ReadGateway(const rapidjson::Value& element) {
    GatewayConfiguration gateway;
    gateway.id = IntegerOrZero(element, "ID");
    gateway.description = TextOrEmpty(element, "Description");
    gateway.ipAddress = TextOrEmpty(element, "IpAddress");
    gateway.port = IntegerOrZero(element, "Port");
    gateway.devices = RecordsIn(element, "Devices", ReadDevice);
    return gateway;
}

}  // namespace

bool MuxConfigurationParser::ParseText(const std::string& text, MuxConfigurationData& configuration) const {
    rapidjson::Document document;
    return Json::Parse(text, document) && ParseObject(document, configuration);
}

bool MuxConfigurationParser::ParseObject(const rapidjson::Value& object, MuxConfigurationData& configuration) const {
    MuxConfigurationData parsed;
    if (object.IsObject()) {
        const auto* enabled = FindMember(object, "Enabled");
        parsed.enabled = enabled != nullptr && enabled->IsTrue();
        parsed.gateways = RecordsIn(object, "Gateways", ReadGateway);
    }
    configuration = std::move(parsed);
    return true;
}

}  // namespace Mux::Configuration
