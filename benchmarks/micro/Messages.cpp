// Client messages: every code parsed, every code that the Mux sends and every request written.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "json/RapidJson.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "mux/messages/MuxMessageCodes.h"

namespace {

using Mux::MuxMessageBuilder;

constexpr const char* kLock = R"({"gatewayID":1,"lockID":5})";
constexpr const char* kDuration = R"({"gatewayID":1,"lockID":5,"duration":10})";
constexpr const char* kCard =
    R"({"gatewayID":1,"lockID":5,"setupNumber":1,"options":0,"cardData":"04A1B2C3D4E5F6","isUIDCard":true})";
constexpr const char* kConfiguration =
    R"({"Enabled":true,"Gateways":[{"ID":1,"Description":"d","IpAddress":"127.0.0.1","Port":2101,"Devices":[]}]})";

struct Request {
    Mux::MuxMessageCodes code;
    const char* data;
};

constexpr Request kRequests[] = {
    {Mux::MUX_MESSAGE_CONFIGURE, kConfiguration},  {Mux::MUX_MESSAGE_LOCK_OPEN, kLock},
    {Mux::MUX_MESSAGE_LOCK_CLOSE, kLock},          {Mux::MUX_MESSAGE_LOCK_GET_STATUS, kLock},
    {Mux::MUX_MESSAGE_LOCK_OPEN_CLOSE, kDuration}, {Mux::MUX_MESSAGE_ACCESS_DENIED, kLock},
    {Mux::MUX_MESSAGE_WHITELIST_GET, kLock},       {Mux::MUX_MESSAGE_LOCK_WHITELIST_SET, kCard},
    {Mux::MUX_MESSAGE_CLEAR_WHITELIST, kLock},     {Mux::MUX_MESSAGE_ENABLE_WHITELIST, kLock},
    {Mux::MUX_MESSAGE_DISABLE_WHITELIST, kLock},   {Mux::MUX_MESSAGE_LOCK_WHITELIST_REMOVE, kCard},
    {Mux::MUX_MESSAGE_ACCESS_ALLOWED, kLock},      {Mux::MUX_MESSAGE_EVENT_LOCK_OPEN, kLock},
    {Mux::MUX_MESSAGE_EVENT_LOCK_CLOSE, kLock},    {Mux::MUX_MESSAGE_EVENT_LOCK_OPEN_CLOSE, kDuration},
    {Mux::MUX_MESSAGE_EVENT_ACCESS_DENIED, kLock},
};

// What only the Mux sends, and a code that nobody has.
constexpr Request kNoRequests[] = {
    {Mux::MUX_MESSAGE_ACK, "{}"},
    {Mux::MUX_MESSAGE_NACK, R"({"errorCode":0,"errorText":"Error in request"})"},
    {Mux::MUX_MESSAGE_EVENT_CARD_READER, kLock},
    {Mux::MUX_MESSAGE_EVENT_INFO, kLock},
    {static_cast<Mux::MuxMessageCodes>(99), kLock},
};

using Message = std::unique_ptr<Mux::MuxMessage>;

Message WithData(std::int32_t code, Mux::MuxMessageData data) {
    return MuxMessageBuilder().BuildMessage(code, "0f8fad5b", std::move(data));
}

Message Event(std::int32_t code) {
    return WithData(code, MuxMessageBuilder().BuildCardEvent(1, 5, "9:5:7 3-1-2026", "04A1B2C3D4E5F6"));
}

struct Outgoing {
    const char* name;
    Message (*make)();
};

constexpr Outgoing kOutgoing[] = {
    {"0", [] { return WithData(Mux::MUX_MESSAGE_ACK, MuxMessageBuilder().BuildAckPayload()); }},
    {"1", [] { return WithData(Mux::MUX_MESSAGE_NACK, MuxMessageBuilder().BuildNackPayload(0, "Error in request")); }},
    {"10-operation-response",
     [] { return WithData(Mux::MUX_MESSAGE_LOCK_OPEN, MuxMessageBuilder().BuildLockOperationResponse(true, 0)); }},
    {"12-status-response",
     [] {
         return WithData(Mux::MUX_MESSAGE_LOCK_GET_STATUS,
                         MuxMessageBuilder().BuildLockStatusResponse(1, 90, false, false, false, true));
     }},
    {"50-event", [] { return Event(Mux::MUX_MESSAGE_ACCESS_ALLOWED); }},
    {"51", [] { return Event(Mux::MUX_MESSAGE_EVENT_CARD_READER); }},
    {"60", [] { return Event(Mux::MUX_MESSAGE_EVENT_INFO); }},
};

std::string TextOf(const Request& request) {
    return R"({"Timestamp":1700000000,"MessageID":"0f8fad5b","MessageCode":)" + std::to_string(request.code) +
           R"(,"Data":)" + request.data + "}";
}

void ParseMessage(benchmark::State& state, const Request& request) {
    const std::string text = TextOf(request);
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(MuxMessageBuilder().ParseMessage(text));
    }
}

void WriteMessage(benchmark::State& state, Mux::MuxMessage& message) {
    rapidjson::MemoryPoolAllocator<> pool(65536);
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(message.ToJSON(pool));
        pool.Clear();
    }
}

void RequestToJson(benchmark::State& state, const Request& request) {
    const Message message = MuxMessageBuilder().ParseMessage(TextOf(request));
    WriteMessage(state, *message);
}

void OutgoingToJson(benchmark::State& state, const Outgoing& outgoing) {
    const Message message = outgoing.make();
    WriteMessage(state, *message);
}

const bool messagesAreRegistered = [] {
    for (const Request& unknown : kNoRequests) {
        benchmark::RegisterBenchmark(("ParseMessage/" + std::to_string(unknown.code)).c_str(), ParseMessage, unknown);
    }
    for (const Request& request : kRequests) {
        const std::string code = std::to_string(request.code);
        benchmark::RegisterBenchmark(("ParseMessage/" + code).c_str(), ParseMessage, request);
        benchmark::RegisterBenchmark(("ToJSON/request-" + code).c_str(), RequestToJson, request);
    }
    for (const Outgoing& outgoing : kOutgoing) {
        benchmark::RegisterBenchmark((std::string("ToJSON/") + outgoing.name).c_str(), OutgoingToJson, outgoing);
    }
    return true;
}();

}  // namespace
