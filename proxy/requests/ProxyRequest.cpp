#include "proxy/requests/ProxyRequest.h"

#include <algorithm>
#include <stdexcept>

#include "json/Reading.h"
#include "tools/client/Packet.h"
#include "tools/client/RequestCheck.h"

namespace MuxProxy {
namespace {

using rapidjson::Value;

// Why a text is refused that the check of requests lets pass: the Mux would answer it with "Error in request".
class Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The Mux takes 0 for what is no number; others were refused by the check.
std::int32_t IntegerIn(const Value& object, const char* name) {
    const Value* const value = Json::FindMember(object, name);
    return value != nullptr && value->IsInt() ? value->GetInt() : 0;
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
        throw Refused("/Data/cardData is missing, empty or not a string");
    }
    const Value* const isUid = Json::FindMember(data, "isUIDCard");
    MuxClient::Card card;
    card.data = CardDataFrom(Json::StringOf(*digits));
    card.isUid = isUid != nullptr && isUid->IsBool() && isUid->GetBool();
    card.setupNumber = UnsignedIn(data, "setupNumber") & 0xFFU;
    card.options = UnsignedIn(data, "options") != 0 ? 1 : 0;
    return card;
}

void CheckCardsLock(const Value& data) {
    for (const char* const name : {"gatewayID", "lockID"}) {
        const Value* const value = Json::FindMember(data, name);
        if (value == nullptr || !value->IsNumber()) {
            throw Refused(std::string("/Data/") + name + " is missing or not a number");
        }
    }
}

const RequestKind& KindIn(const Value& root) {
    const std::int32_t code = IntegerIn(root, "MessageCode");
    const RequestKind* const kind = FindRequestKind(code);
    if (kind == nullptr) {
        throw Refused("/MessageCode is " + std::to_string(code) + ", which is no request");
    }
    return *kind;
}

const Value& DataIn(const Value& root) {
    const Value* const data = Json::FindMember(root, "Data");
    if (data == nullptr || !data->IsObject()) {
        throw Refused("/Data is missing or not an object");
    }
    return *data;
}

void ReadData(const Value& data, ProxyRequest& request) {
    request.lock = {IntegerIn(data, "gatewayID"), IntegerIn(data, "lockID")};
    if (request.kind->hasDuration) {
        request.duration = std::max<std::uint8_t>(static_cast<std::uint8_t>(UnsignedIn(data, "duration")), 1);
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
    request.kind = &KindIn(root);
    ReadData(DataIn(root), request);
    return request;
}

// Written anew with every member, a request may become longer than the client's text was.
void CheckLength(const ProxyRequest& request) {
    if (WriteRequest(request).text.size() > MuxClient::kLongestText) {
        throw Refused("/Data/cardData is too long to be passed on");
    }
}

}  // namespace

std::variant<ProxyRequest, InvalidRequest> ReadRequest(std::string_view text) {
    rapidjson::Document root;
    const bool isObject = Json::Parse(text.substr(0, text.find('\0')), root) && root.IsObject();
    for (const MuxClient::RequestFault& fault : MuxClient::CheckRequest(text)) {
        // The Mux gets an identifier of ours.
        if (fault.where != "/MessageID") {
            return InvalidRequest{isObject ? IdIn(root) : "",
                                  (fault.where.empty() ? "the text" : fault.where) + ' ' + fault.reason};
        }
    }
    if (!isObject) {
        return InvalidRequest{"", "the text is not a JSON object"};
    }
    try {
        ProxyRequest request = ReadObject(root);
        CheckLength(request);
        return request;
    } catch (const Refused& refused) {
        return InvalidRequest{IdIn(root), refused.what()};
    }
}

MuxClient::Request WriteRequest(const ProxyRequest& request) {
    return request.kind->write(request);
}

}  // namespace MuxProxy
