#include "tools/client/Request.h"

#include <ctime>
#include <functional>
#include <stdexcept>
#include <utility>

#include "tools/client/Json.h"
#include "tools/client/MessageId.h"

namespace MuxClient {
namespace {

using JsonWriter = Json::Writer<Json::StringBuffer>;
using WriteData = std::function<void(JsonWriter&)>;

void WriteText(JsonWriter& writer, const std::string& text) {
    writer.String(text.data(), static_cast<Json::SizeType>(text.size()));
}

std::string Envelope(const std::string& id, MessageCode code, const WriteData& writeData) {
    Json::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    writer.Key("Timestamp");
    writer.Int64(std::time(nullptr));
    writer.Key("MessageID");
    WriteText(writer, id);
    writer.Key("MessageCode");
    writer.Int(static_cast<std::int32_t>(code));
    writer.Key("Data");
    writeData(writer);
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

// A "Data" object that begins with the lock and goes on with what `writeRest` writes.
WriteData LockData(const LockAddress& lock, const WriteData& writeRest) {
    return [=](JsonWriter& writer) {
        writer.StartObject();
        writer.Key("gatewayID");
        writer.Int(lock.gateway);
        writer.Key("lockID");
        writer.Int(lock.lock);
        if (writeRest) {
            writeRest(writer);
        }
        writer.EndObject();
    };
}

WriteData CardData(const Card& card) {
    return [=](JsonWriter& writer) {
        writer.Key("setupNumber");
        writer.Uint(card.setupNumber);
        writer.Key("options");
        writer.Uint(card.options);
        writer.Key("cardData");
        WriteText(writer, card.data);
        writer.Key("isUIDCard");
        writer.Bool(card.isUid);
    };
}

MessageCode CodeFor(Occasion occasion, MessageCode command, MessageCode event) {
    return occasion == Occasion::kEvent ? event : command;
}

std::optional<std::int32_t> GatewayIn(const Json::Value& message) {
    const Json::Value* const data = Json::Find(message, "Data");
    return data != nullptr && data->IsObject() ? Json::IntegerIn(*data, "gatewayID") : std::nullopt;
}

Request Build(MessageCode code, const WriteData& writeData) {
    const std::string id = NewMessageId();
    return {id, Envelope(id, code, writeData)};
}

Request BuildFor(const LockAddress& lock, MessageCode code, const WriteData& writeRest = {}) {
    Request request = Build(code, LockData(lock, writeRest));
    request.gateway = lock.gateway;
    return request;
}

Request BuildFor(const LockAddress& lock, Occasion occasion, MessageCode command, MessageCode event) {
    return BuildFor(lock, CodeFor(occasion, command, event));
}

}  // namespace

Request Request::Open(const LockAddress& lock, Occasion occasion) {
    return BuildFor(lock, occasion, MessageCode::kLockOpen, MessageCode::kEventLockOpen);
}

Request Request::Close(const LockAddress& lock, Occasion occasion) {
    return BuildFor(lock, occasion, MessageCode::kLockClose, MessageCode::kEventLockClose);
}

Request Request::OpenAndClose(const LockAddress& lock, std::uint32_t duration, Occasion occasion) {
    return BuildFor(lock, CodeFor(occasion, MessageCode::kLockOpenClose, MessageCode::kEventLockOpenClose),
                    [=](JsonWriter& writer) {
                        writer.Key("duration");
                        writer.Uint(duration);
                    });
}

Request Request::DenyAccess(const LockAddress& lock, Occasion occasion) {
    return BuildFor(lock, occasion, MessageCode::kAccessDenied, MessageCode::kEventAccessDenied);
}

Request Request::Status(const LockAddress& lock) {
    return BuildFor(lock, MessageCode::kLockGetStatus);
}

Request Request::AddToWhitelist(const LockAddress& lock, const Card& card) {
    return BuildFor(lock, MessageCode::kWhitelistAdd, CardData(card));
}

Request Request::RemoveFromWhitelist(const LockAddress& lock, const Card& card) {
    return BuildFor(lock, MessageCode::kWhitelistRemove, CardData(card));
}

Request Request::ClearWhitelist(const LockAddress& lock) {
    return BuildFor(lock, MessageCode::kWhitelistClear);
}

Request Request::EnableWhitelist(const LockAddress& lock) {
    return BuildFor(lock, MessageCode::kWhitelistEnable);
}

Request Request::DisableWhitelist(const LockAddress& lock) {
    return BuildFor(lock, MessageCode::kWhitelistDisable);
}

Request Request::GetWhitelist(const LockAddress& lock) {
    return BuildFor(lock, MessageCode::kWhitelistGet);
}

Request Request::AllowAccess(const LockAddress& lock) {
    return BuildFor(lock, MessageCode::kAccessAllowed);
}

Request Request::Configure(const std::string& configuration) {
    Json::Document document;
    if (!Json::Parse(configuration, document) || !document.IsObject()) {
        throw std::invalid_argument("a configuration must be a JSON object");
    }
    return Build(MessageCode::kConfigure, [&](JsonWriter& writer) {
        writer.RawValue(configuration.data(), configuration.size(), Json::kObjectType);
    });
}

Request Request::FromText(const std::string& text) {
    Request request = {"", text};
    Json::Document message;
    if (Json::Parse(text, message) && message.IsObject()) {
        request.id = Json::TextIn(message, "MessageID").value_or("");
        request.gateway = GatewayIn(message);
    }
    return request;
}

}  // namespace MuxClient
