// What comes from the Mux, as the client library cuts and reads it.
//
// Input: one byte that says how many bytes arrive at a time, then the stream.

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/FuzzTarget.h"
#include "tools/client/Errors.h"
#include "tools/client/Message.h"
#include "tools/client/Request.h"
#include "tools/client/TextCutter.h"

namespace {

std::vector<std::string> CutInPieces(std::string_view stream, std::size_t pieceSize) {
    MuxClient::TextCutter cutter;
    std::vector<std::string> texts;
    try {
        for (std::size_t begin = 0; begin < stream.size(); begin += pieceSize) {
            cutter.Add(stream.substr(begin, pieceSize));
            while (const auto text = cutter.Next()) {
                texts.push_back(*text);
            }
        }
    } catch (const MuxClient::ProtocolError&) {
        // What was cut before counts.
    }
    return texts;
}

void Read(const std::string& text) {
    FUZZ_CHECK(text.front() == '{' && text.back() == '}');
    try {
        const MuxClient::Message message = MuxClient::ParseMessage(text);
        FUZZ_CHECK(message.text == text);
        FUZZ_CHECK(!message.event || message.IsEvent());
        // What the Mux repeats of a request is what the client took for its identifier.
        FUZZ_CHECK(MuxClient::Request::FromText(text).id == message.id);
    } catch (const MuxClient::ProtocolError&) {
        // A text between braces may be anything.
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::string_view stream(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::vector<std::string> texts = CutInPieces(stream, stream.size());
    FUZZ_CHECK(CutInPieces(stream, std::max<std::size_t>(*data, 1)) == texts);
    std::for_each(texts.begin(), texts.end(), Read);
    return 0;
}
