#include "tools/client/RequestCheck.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "tools/client/Json.h"
#include "tools/client/MessageCode.h"
#include "tools/client/Request.h"

namespace MuxClient {
namespace {

using Json::Value;
using Faults = std::vector<RequestFault>;

// The Mux takes the answer to such a request for that to a question of its own.
constexpr const char* kMarkOfTheMux = "requestNewSEQID-";

constexpr const char* kIsMissing = "is missing";
constexpr const char* kMessagePointer = "/";
constexpr const char* kDataPointer = "/Data/";

// A number that the Mux reads. It aborts for one that is not of its type; what is not a number has a default.
struct NumberType {
    bool (Value::*includes)() const;
    const char* rule;
};

constexpr NumberType kTimestamp = {&Value::IsInt64, "must be a 64-bit integer without decimal point or exponent"};
constexpr NumberType kNumber = {&Value::IsInt, "must be a 32-bit integer without decimal point or exponent"};
constexpr NumberType kDuration = {&Value::IsUint,
                                  "must be an integer from 0 to 4294967295 without decimal point or exponent"};

class RequestCheck {
  public:
    Faults Run(std::string_view packetText) {
        const std::string_view text = packetText.substr(0, packetText.find('\0'));
        Json::Document document;
        if (text.empty()) {
            Add(RequestHazard::kNoAnswer, "", "is empty");
        } else if (const auto fault = Json::ParseAllNumbers(text, document)) {
            Add(RequestHazard::kNoAnswer, "",
                "is not JSON at byte " + std::to_string(fault->offset + 1) + ": " + fault->reason);
        } else if (!document.IsObject()) {
            Add(RequestHazard::kEndsMux, "", "must be an object");
        } else {
            CheckMessage(document);
        }
        return std::move(faults_);
    }

  private:
    // Returns whether a request has what it needs to reach a gateway; adds the faults of its data.
    using DataCheck = bool (RequestCheck::*)(const Value& data);

    struct RequestRow {
        MessageCode code;
        DataCheck checkData;
    };

    static const RequestRow* FindRow(std::int32_t code);

    void CheckMessage(const Value& message) {
        CheckNumber(message, kMessagePointer, "Timestamp", kTimestamp);
        CheckNumber(message, kMessagePointer, "MessageCode", kNumber);
        const std::int32_t code = Json::IntegerIn(message, "MessageCode").value_or(0);
        if (code == static_cast<std::int32_t>(MessageCode::kConfigure)) {
            Add(RequestHazard::kNoAnswer, "/MessageCode", "is 2, a configuration, which the Mux ignores");
        }
        const RequestRow* const row = FindRow(code);
        const Value* const data = Json::Find(message, "Data");
        if (row != nullptr && data != nullptr && data->IsObject() && (this->*row->checkData)(*data)) {
            CheckIdentifier(message);
        }
    }

    void CheckIdentifier(const Value& message) {
        const std::string id = Json::TextIn(message, "MessageID").value_or("");
        if (id.find(kMarkOfTheMux) != std::string::npos) {
            Add(RequestHazard::kNoAnswer, "/MessageID",
                std::string("contains \"") + kMarkOfTheMux + "\", which marks questions of the Mux");
        }
    }

    bool CheckLock(const Value& data) {
        const bool hasGateway = CheckRequired(data, "gatewayID", kNumber);
        const bool hasLock = CheckRequired(data, "lockID", kNumber);
        return hasGateway && hasLock;
    }

    bool CheckLockAndDuration(const Value& data) {
        const bool hasLock = CheckLock(data);
        const bool hasDuration = CheckRequired(data, "duration", kDuration);
        return hasLock && hasDuration;
    }

    // Without gateway, lock or card the Mux refuses the request, and does not look at what comes after.
    bool CheckCard(const Value& data) {
        if (!HasNumber(data, "gatewayID") || !CheckNumber(data, kDataPointer, "gatewayID", kNumber) ||
            !HasNumber(data, "lockID") || !CheckNumber(data, kDataPointer, "lockID", kNumber)) {
            return false;
        }
        const std::string digits = Json::TextIn(data, "cardData").value_or("");
        const bool isUid = Json::FlagIn(data, "isUIDCard").value_or(false);
        if (!isUid && digits.size() > 2 * kLongestCardData) {
            Add(RequestHazard::kBrokenFrame, "/Data/cardData",
                "has more than " + std::to_string(kLongestCardData) + " bytes");
        }
        return !digits.empty();
    }

    static bool HasNumber(const Value& object, const char* name) {
        const Value* const value = Json::Find(object, name);
        return value != nullptr && value->IsNumber();
    }

    bool CheckRequired(const Value& data, const char* name, const NumberType& type) {
        if (Json::Find(data, name) == nullptr) {
            Add(RequestHazard::kEndsMux, std::string(kDataPointer) + name, kIsMissing);
            return false;
        }
        return CheckNumber(data, kDataPointer, name, type);
    }

    // False if the Mux would abort.
    bool CheckNumber(const Value& object, const char* prefix, const char* name, const NumberType& type) {
        if (!HasNumber(object, name) || (Json::Find(object, name)->*type.includes)()) {
            return true;
        }
        Add(RequestHazard::kEndsMux, std::string(prefix) + name, type.rule);
        return false;
    }

    void Add(RequestHazard hazard, const std::string& where, const std::string& reason) {
        faults_.push_back({hazard, where, reason});
    }

    Faults faults_;
};

const RequestCheck::RequestRow* RequestCheck::FindRow(std::int32_t code) {
    using Code = MessageCode;
    static constexpr RequestRow kRows[] = {
        {Code::kLockOpen, &RequestCheck::CheckLock},
        {Code::kLockClose, &RequestCheck::CheckLock},
        {Code::kLockGetStatus, &RequestCheck::CheckLock},
        {Code::kLockOpenClose, &RequestCheck::CheckLockAndDuration},
        {Code::kAccessDenied, &RequestCheck::CheckLock},
        {Code::kWhitelistAdd, &RequestCheck::CheckCard},
        {Code::kWhitelistClear, &RequestCheck::CheckLock},
        {Code::kWhitelistEnable, &RequestCheck::CheckLock},
        {Code::kWhitelistDisable, &RequestCheck::CheckLock},
        {Code::kWhitelistRemove, &RequestCheck::CheckCard},
        {Code::kEventLockOpen, &RequestCheck::CheckLock},
        {Code::kEventLockClose, &RequestCheck::CheckLock},
        {Code::kEventLockOpenClose, &RequestCheck::CheckLockAndDuration},
        {Code::kEventAccessDenied, &RequestCheck::CheckLock},
    };
    for (const RequestRow& row : kRows) {
        if (static_cast<std::int32_t>(row.code) == code) {
            return &row;
        }
    }
    return nullptr;
}

}  // namespace

std::vector<RequestFault> CheckRequest(std::string_view text) {
    return RequestCheck().Run(text);
}

std::optional<RequestHazard> WorstOf(const std::vector<RequestFault>& faults) {
    const auto isWorse = [](const RequestFault& left, const RequestFault& right) { return left.hazard < right.hazard; };
    const auto worst = std::min_element(faults.begin(), faults.end(), isWorse);
    return worst == faults.end() ? std::nullopt : std::make_optional(worst->hazard);
}

}  // namespace MuxClient
