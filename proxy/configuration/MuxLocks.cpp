#include "proxy/configuration/MuxLocks.h"

#include <algorithm>

#include "json/Reading.h"
#include "proxy/configuration/ConfigurationReader.h"

namespace MuxProxy {
namespace {

using rapidjson::Value;

const Value* MemberOf(const Value& object, const char* name) {
    return object.IsObject() ? Json::FindMember(object, name) : nullptr;
}

std::optional<std::int32_t> IdIn(const Value& object) {
    const Value* const id = MemberOf(object, "ID");
    return id != nullptr && id->IsInt() ? std::make_optional(id->GetInt()) : std::nullopt;
}

std::string TextIn(const Value& object, const char* name) {
    const Value* const text = MemberOf(object, name);
    return text != nullptr && text->IsString() ? Json::StringOf(*text) : "";
}

// The array with this name; an empty one if there is none.
const Value& ArrayIn(const Value& object, const char* name) {
    static const Value none(rapidjson::kArrayType);
    const Value* const array = MemberOf(object, name);
    return array != nullptr && array->IsArray() ? *array : none;
}

void AddLocks(const Value& gateway, std::int32_t gatewayId, MuxLocks& locks) {
    for (const Value& device : ArrayIn(gateway, "Devices").GetArray()) {
        const std::optional<std::int32_t> lockId = IdIn(device);
        const auto isSame = [&](const MuxLock& lock) {
            return lock.address.gateway == gatewayId && lock.address.lock == *lockId;
        };
        if (lockId && std::none_of(locks.begin(), locks.end(), isSame)) {
            locks.push_back({{gatewayId, *lockId}, TextIn(gateway, "Description"), TextIn(device, "Name")});
        }
    }
}

}  // namespace

MuxLocks ReadMuxLocks(const std::string& file) {
    rapidjson::Document root;
    if (!Json::Parse(ReadConfigurationFile(file), root)) {
        throw ConfigurationError(file + " is not JSON");
    }
    MuxLocks locks;
    for (const Value& gateway : ArrayIn(root, "Gateways").GetArray()) {
        const std::optional<std::int32_t> gatewayId = IdIn(gateway);
        if (gatewayId) {
            AddLocks(gateway, *gatewayId, locks);
        }
    }
    return locks;
}

std::optional<std::int32_t> LockByLowBits(const MuxLocks& locks, std::int32_t gateway, std::uint16_t bits) {
    std::optional<std::int32_t> found;
    for (const MuxLock& lock : locks) {
        if (lock.address.gateway == gateway && static_cast<std::uint16_t>(lock.address.lock) == bits) {
            if (found) {
                return std::nullopt;
            }
            found = lock.address.lock;
        }
    }
    return found;
}

}  // namespace MuxProxy
