#include "proxy/requests/ProxyRequest.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "json/Reading.h"

namespace MuxProxy {
namespace {

using MuxClient::MessageCode;
using MuxClient::Occasion;
using MuxClient::Request;
using rapidjson::Value;

// Why a text is refused.
class Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

std::string Quoted(const char* name) {
    return std::string("\"") + name + '"';
}

// The Mux reads a number by a function that accepts only this type of integer, and takes the default for everything
// that is no number.
template <typename Integer>
Integer NumberOf(const Value& value, const char* name) {
    if (!value.IsNumber()) {
        return 0;
    }
    if (!value.Is<Integer>()) {
        throw Refused(Quoted(name) + " is out of range or not an integer");
    }
    return value.Get<Integer>();
}

template <typename Integer>
Integer NumberIn(const Value& object, const char* name) {
    const Value* const value = Json::FindMember(object, name);
    return value != nullptr ? NumberOf<Integer>(*value, name) : 0;
}

template <typename Integer>
Integer RequiredNumberIn(const Value& object, const char* name) {
    const Value* const value = Json::FindMember(object, name);
    if (value == nullptr) {
        throw Refused(Quoted(name) + " is missing");
    }
    return NumberOf<Integer>(*value, name);
}

// Only an integer that fits counts; the Mux takes 0 for all else.
std::uint32_t UnsignedIn(const Value& object, const char* name) {
    const Value* const value = Json::FindMember(object, name);
    return value != nullptr && value->IsUint() ? value->GetUint() : 0;
}

char UpperDigit(char digit) {
    const bool isLower = digit >= 'a' && digit <= 'f';
    const bool isDigit = (digit >= '0' && digit <= '9') || (digit >= 'A' && digit <= 'F');
    return isLower ? static_cast<char>(digit - 'a' + 'A') : isDigit ? digit : '0';
}

// As the Mux reads it: a leading 0 completes an odd number of digits, and what is no digit counts as 0.
std::string CardDataFrom(std::string text) {
    text.insert(0, text.size() % 2, '0');
    std::transform(text.begin(), text.end(), text.begin(), UpperDigit);
    return text;
}

MuxClient::Card CardIn(const Value& data) {
    const Value* const digits = Json::FindMember(data, "cardData");
    if (digits == nullptr || !digits->IsString() || digits->GetStringLength() == 0) {
        throw Refused("\"cardData\" is missing, empty or not a string");
    }
    const Value* const isUid = Json::FindMember(data, "isUIDCard");
    MuxClient::Card card;
    card.data = CardDataFrom(Json::StringOf(*digits));
    card.isUid = isUid != nullptr && isUid->IsBool() && isUid->GetBool();
    card.setupNumber = UnsignedIn(data, "setupNumber") & 0xFFU;
    card.options = UnsignedIn(data, "options") != 0 ? 1 : 0;
    if (!card.isUid && card.data.size() > 2 * MuxClient::kLongestCardData) {
        throw Refused("\"cardData\" has more than 233 bytes");
    }
    return card;
}

// The Mux refuses a card's request whose lock is no number.
void CheckCardsLock(const Value& data) {
    for (const char* const name : {"gatewayID", "lockID"}) {
        const Value* const value = Json::FindMember(data, name);
        if (value != nullptr && !value->IsNumber()) {
            throw Refused(Quoted(name) + " is not a number");
        }
    }
}

std::uint8_t DurationIn(const Value& data) {
    const auto duration = static_cast<std::uint8_t>(RequiredNumberIn<std::uint32_t>(data, "duration"));
    return std::max<std::uint8_t>(duration, 1);
}

const RequestKind& KindIn(const Value& root) {
    const auto code = NumberIn<std::int32_t>(root, "MessageCode");
    const RequestKind* const kind = FindRequestKind(code);
    if (kind == nullptr) {
        throw Refused("no request has the code " + std::to_string(code));
    }
    return *kind;
}

const Value& DataIn(const Value& root) {
    const Value* const data = Json::FindMember(root, "Data");
    if (data == nullptr || !data->IsObject()) {
        throw Refused("\"Data\" is missing or not an object");
    }
    return *data;
}

void ReadData(const Value& data, ProxyRequest& request) {
    request.lock.gateway = RequiredNumberIn<std::int32_t>(data, "gatewayID");
    request.lock.lock = RequiredNumberIn<std::int32_t>(data, "lockID");
    if (request.kind->hasDuration) {
        request.duration = DurationIn(data);
    }
    if (request.kind->hasCard) {
        CheckCardsLock(data);
        request.card = CardIn(data);
    }
}

std::string IdIn(const Value& root) {
    const Value* const id = Json::FindMember(root, "MessageID");
    return id != nullptr && id->IsString() ? Json::StringOf(*id) : "";
}

ProxyRequest ReadObject(const Value& root) {
    ProxyRequest request;
    request.clientId = IdIn(root);
    NumberIn<std::int64_t>(root, "Timestamp");
    request.kind = &KindIn(root);
    ReadData(DataIn(root), request);
    return request;
}

Occasion OccasionOf(MessageCode code) {
    return code >= MessageCode::kEventLockOpen ? Occasion::kEvent : Occasion::kCommand;
}

}  // namespace

std::variant<ProxyRequest, InvalidRequest> ReadRequest(std::string_view text) {
    rapidjson::Document root;
    if (!Json::Parse(text.substr(0, text.find('\0')), root)) {
        return InvalidRequest{"", "the text is not JSON"};
    }
    if (!root.IsObject()) {
        return InvalidRequest{"", "the text is not a JSON object"};
    }
    try {
        return ReadObject(root);
    } catch (const Refused& refused) {
        return InvalidRequest{IdIn(root), refused.what()};
    }
}

MuxClient::Request WriteRequest(const ProxyRequest& request) {
    const Occasion occasion = OccasionOf(request.kind->code);
    switch (request.kind->code) {
        case MessageCode::kLockOpen:
        case MessageCode::kEventLockOpen:
            return Request::Open(request.lock, occasion);
        case MessageCode::kLockClose:
        case MessageCode::kEventLockClose:
            return Request::Close(request.lock, occasion);
        case MessageCode::kLockOpenClose:
        case MessageCode::kEventLockOpenClose:
            return Request::OpenAndClose(request.lock, request.duration, occasion);
        case MessageCode::kAccessDenied:
        case MessageCode::kEventAccessDenied:
            return Request::DenyAccess(request.lock, occasion);
        case MessageCode::kLockGetStatus:
            return Request::Status(request.lock);
        case MessageCode::kWhitelistAdd:
            return Request::AddToWhitelist(request.lock, request.card);
        case MessageCode::kWhitelistRemove:
            return Request::RemoveFromWhitelist(request.lock, request.card);
        case MessageCode::kWhitelistClear:
            return Request::ClearWhitelist(request.lock);
        case MessageCode::kWhitelistEnable:
            return Request::EnableWhitelist(request.lock);
        case MessageCode::kWhitelistDisable:
            return Request::DisableWhitelist(request.lock);
        default:
            throw std::logic_error("a kind of request without a text");
    }
}

}  // namespace MuxProxy
