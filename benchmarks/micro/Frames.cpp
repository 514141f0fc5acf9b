// Gateway frames: every request built and serialised, every kind of incoming frame parsed.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "messages/BrenkMessage.h"
#include "messages/BrenkMessageBuilder.h"
#include "messages/FrameLayout.h"

namespace {

using Brenk::Messages::BrenkMessage;
using Brenk::Messages::BrenkMessageBuilder;
using Bytes = std::vector<unsigned char>;
using MessagePointer = std::unique_ptr<BrenkMessage>;

constexpr std::uint32_t kLock = 5;

struct Request {
    const char* name;
    MessagePointer (*build)(BrenkMessageBuilder& builder, Bytes& card);
};

constexpr Request kRequests[] = {
    {"GetStatus", [](BrenkMessageBuilder& builder, Bytes&) { return builder.BuildGetStatus(kLock); }},
    {"ShortTermActivation",
     [](BrenkMessageBuilder& builder, Bytes&) { return builder.BuildShortTermActivation(kLock, 5, false); }},
    {"LongTermActivation",
     [](BrenkMessageBuilder& builder, Bytes&) { return builder.BuildLongTermActivation(kLock, 0, 0, false); }},
    {"LongTermRelease",
     [](BrenkMessageBuilder& builder, Bytes&) { return builder.BuildLongTermRelease(kLock, 0, false); }},
    {"AccessDenied", [](BrenkMessageBuilder& builder, Bytes&) { return builder.BuildAccessDenied(kLock, false); }},
    {"AddToWhitelist",
     [](BrenkMessageBuilder& builder, Bytes& card) { return builder.BuildAddToWhitelist(kLock, true, 0, 0, card); }},
    {"RemoveFromWhitelist", [](BrenkMessageBuilder& builder,
                               Bytes& card) { return builder.BuildRemoveFromWhitelist(kLock, true, 0, 0, card); }},
    {"ClearWhitelist", [](BrenkMessageBuilder& builder, Bytes&) { return builder.BuildClearWhitelist(kLock); }},
    {"EnableWhitelist", [](BrenkMessageBuilder& builder, Bytes&) { return builder.BuildEnableWhitelist(kLock); }},
    {"DisableWhitelist", [](BrenkMessageBuilder& builder, Bytes&) { return builder.BuildDisableWhitelist(kLock); }},
};

struct Incoming {
    const char* name;
    std::uint8_t type;
};

constexpr Incoming kIncoming[] = {
    {"Response", 0}, {"Status", 1}, {"CardEvent", 14}, {"CardAccessEvent", 15}, {"PinEvent", 22}, {"Unknown", 99},
};

void Build(benchmark::State& state, const Request& request) {
    BrenkMessageBuilder builder(41, 1);
    Bytes card = {0x04, 0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6};
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(request.build(builder, card));
    }
}

void Serialise(benchmark::State& state, const Request& request) {
    BrenkMessageBuilder builder(41, 1);
    Bytes card = {0x04, 0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6};
    const MessagePointer message = request.build(builder, card);
    for ([[maybe_unused]] auto unused : state) {
        const std::unique_ptr<Bytes> bytes(message->Serialize());
        benchmark::DoNotOptimize(bytes->data());
    }
}

// A status request's frame with another type in it and zeros behind, which is as long as any payload needs.
Bytes FrameOf(std::uint8_t type) {
    constexpr std::size_t kLength = 64;
    BrenkMessageBuilder builder(41, 1);
    const std::unique_ptr<Bytes> request(builder.BuildGetStatus(kLock)->Serialize());
    Bytes frame = *request;
    frame.resize(kLength);
    frame.at(0) = kLength;
    frame.at(Brenk::Messages::FrameLayout::kPayloadType) = type;
    return frame;
}

void Parse(benchmark::State& state, std::uint8_t type) {
    BrenkMessageBuilder builder(41, 1);
    Bytes frame = FrameOf(type);
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(MessagePointer(builder.Parse(frame)));
    }
}

const bool framesAreRegistered = [] {
    for (const Request& request : kRequests) {
        benchmark::RegisterBenchmark((std::string("FrameBuild/") + request.name).c_str(), Build, request);
        benchmark::RegisterBenchmark((std::string("FrameSerialise/") + request.name).c_str(), Serialise, request);
    }
    for (const Incoming& incoming : kIncoming) {
        benchmark::RegisterBenchmark((std::string("FrameParse/") + incoming.name).c_str(), Parse, incoming.type);
    }
    return true;
}();

}  // namespace
