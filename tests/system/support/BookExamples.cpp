#include "tests/system/support/BookExamples.h"

#include <regex>
#include <stdexcept>

#include "tools/gateway-simulator/FrameCodec.h"

namespace SystemTest {
namespace {

using Documents::Book;
using Documents::Example;

// The gateway book has one frame for all that is done.
constexpr const char* kDone = "open";

const Example& Needed(const Book& book, const std::string& kind, const std::string& name) {
    const Example* const example = book.Find(kind, name);
    if (example == nullptr) {
        throw std::runtime_error("the books have no " + kind + " " + name);
    }
    return *example;
}

Conversation ConversationOf(const Example& request) {
    Conversation conversation = {request.name, request.text, Needed(ClientBook(), "answer", request.name).text, {}, {}};
    if (const Example* const frame = GatewayBook().Find("request", request.name)) {
        const bool hasOwnAnswer = GatewayBook().Find("answer", request.name) != nullptr;
        conversation.frame = BytesOf(*frame);
        conversation.gatewayAnswer = BytesOf(Needed(GatewayBook(), "answer", hasOwnAnswer ? request.name : kDone));
    }
    return conversation;
}

Simulator::Frame Decoded(const Simulator::Bytes& bytes) {
    const Simulator::DecodedFrame decoded = Simulator::DecodeFrame(bytes);
    if (decoded.verdict != Simulator::Verdict::kGood) {
        throw std::runtime_error(Simulator::ToHex(bytes) + ": " + Simulator::VerdictText(decoded.verdict));
    }
    return decoded.frame;
}

}  // namespace

const Book& ClientBook() {
    static const Book book("client-protocol.md");
    return book;
}

const Book& GatewayBook() {
    static const Book book("gateway-protocol.md");
    return book;
}

const Book& ConfigurationBook() {
    static const Book book("configuration.md");
    return book;
}

std::vector<Conversation> Conversations() {
    std::vector<Conversation> conversations;
    for (const Example& request : ClientBook().OfKind("request")) {
        conversations.push_back(ConversationOf(request));
    }
    return conversations;
}

Simulator::Bytes BytesOf(const Example& example) {
    static const std::regex blanks("\\s");
    const auto bytes = Simulator::FromHex(std::regex_replace(example.text, blanks, ""));
    if (!bytes) {
        throw std::runtime_error("no hexadecimal text: " + example.text);
    }
    return *bytes;
}

std::string WithoutTimes(std::string text) {
    static const std::regex times[] = {
        std::regex("(^\\{\"Timestamp\":)[0-9]+"),
        std::regex("(\"lockEventMessage-)[0-9]+"),
        std::regex("(\"timestamp\":\")[0-9]+:[0-9]+:[0-9]+ [0-9]+-[0-9]+-[0-9]{4}"),
    };
    for (const std::regex& time : times) {
        text = std::regex_replace(text, time, "$1T");
    }
    return text;
}

Simulator::Bytes WithNumbersOf(const Simulator::Bytes& other, const Simulator::Bytes& frame) {
    const Simulator::Frame numbers = Decoded(other);
    Simulator::Frame changed = Decoded(frame);
    changed.referenceId = numbers.referenceId;
    changed.sequenceCounter = numbers.sequenceCounter;
    return Simulator::EncodeFrame(changed);
}

}  // namespace SystemTest
