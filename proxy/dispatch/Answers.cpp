#include "proxy/dispatch/Answers.h"

#include <array>
#include <ctime>

#include "json/Reading.h"
#include "json/Tree.h"
#include "tools/client/Errors.h"

namespace MuxProxy {
namespace {

using Code = MuxClient::MessageCode;
using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

struct RefusalText {
    const char* name;
    const char* message;
};

// By the refusal's number, from -1 downwards.
constexpr std::array<RefusalText, 8> kRefusals = {{
    {"not-allowed", "Not allowed"},
    {"not-valid", "Not a valid request"},
    {"not-sent", "Not sent"},
    {"no-answer", "No answer in time, it may have been done"},
    {"mux-away", "Not sent, the Mux cannot be reached"},
    {"not-audited", "Not sent, the audit cannot be written"},
    {"not-fresh", "Not a fresh command"},
    {"not-signed", "Not signed as this site requires"},
}};

const RefusalText& TextOf(Refusal refusal) {
    return kRefusals.at(static_cast<std::size_t>(-1 - static_cast<std::int32_t>(refusal)));
}

void WriteMember(Writer& writer, const char* name, const std::string& text) {
    writer.Key(name);
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

}  // namespace

const char* RefusalName(Refusal refusal) {
    return TextOf(refusal).name;
}

std::string ResultName(const MuxClient::Message& answer) {
    if (answer.IsAck()) {
        return "ack";
    }
    const std::int32_t code = answer.refusal ? answer.refusal->errorCode : 0;
    const bool isOurs = code < 0 && code >= static_cast<std::int32_t>(Refusal::kNotSigned);
    return isOurs ? RefusalName(static_cast<Refusal>(code)) : "nack";
}

std::string NackText(const std::string& clientId, Refusal refusal, std::string_view detail) {
    std::string message = TextOf(refusal).message;
    if (!detail.empty()) {
        message.append(": ").append(detail);
    }
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writer.Key("Timestamp");
    writer.Int64(std::time(nullptr));
    WriteMember(writer, "MessageID", clientId);
    writer.Key("MessageCode");
    writer.Int(static_cast<std::int32_t>(Code::kNack));
    writer.Key("Data");
    writer.StartObject();
    writer.Key("ErrorCode");
    writer.Int(static_cast<std::int32_t>(refusal));
    WriteMember(writer, "Message", message);
    writer.EndObject();
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

MuxText ReadMuxText(const std::string& text) {
    const MuxClient::Message message = MuxClient::ParseMessage(text);
    MuxText read;
    read.status = message.status;
    read.id = message.id;
    read.isEvent = message.IsEvent();
    read.isAck = message.IsAck();
    read.code = static_cast<std::int32_t>(message.code);
    if (message.refusal) {
        read.errorCode = message.refusal->errorCode;
    }
    if (message.event) {
        read.gateway = message.event->gateway;
        read.lockBits = static_cast<std::uint16_t>(message.event->lock);
        read.card = message.event->data;
    }
    return read;
}

std::string Readdressed(const std::string& text, const std::string& clientId) {
    rapidjson::Document answer;
    if (!Json::Parse(text, answer) || !answer.IsObject() || Json::FindMember(answer, "MessageID") == nullptr) {
        throw MuxClient::ProtocolError("an answer of the Mux is not an object with an identifier");
    }
    answer["MessageID"].SetString(clientId.data(), static_cast<rapidjson::SizeType>(clientId.size()),
                                  answer.GetAllocator());
    return Json::Text(answer);
}

}  // namespace MuxProxy
