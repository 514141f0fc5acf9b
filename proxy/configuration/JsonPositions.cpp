#include "proxy/configuration/JsonPositions.h"

#include <algorithm>
#include <vector>

#include "json/RapidJson.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

namespace MuxProxy {
namespace {

using Offsets = std::map<std::string, std::size_t>;

std::string Escaped(std::string_view name) {
    std::string escaped;
    for (const char character : name) {
        escaped += character == '~' ? "~0" : character == '/' ? "~1" : std::string(1, character);
    }
    return escaped;
}

// Follows the parser, and writes down where each value began.
class Follower : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Follower> {
  public:
    Follower(const rapidjson::MemoryStream& stream, Offsets& offsets) : stream_(stream), offsets_(offsets) {}

    // Every value without one of the functions below.
    bool Default() { return Value(1); }
    bool RawNumber(const char*, rapidjson::SizeType length, bool) { return Value(length); }
    bool String(const char*, rapidjson::SizeType length, bool) { return Value(length + 2U); }

    // Called before the bracket is taken.
    bool StartObject() { return Value(0) && Push(false); }
    bool StartArray() { return Value(0) && Push(true); }
    bool EndObject(rapidjson::SizeType) { return Pop(); }
    bool EndArray(rapidjson::SizeType) { return Pop(); }

    bool Key(const char* name, rapidjson::SizeType length, bool) {
        Level& level = levels_.back();
        level.pointer = level.container + '/' + Escaped({name, length});
        offsets_.emplace(level.pointer, stream_.Tell() - length - 2U);
        return true;
    }

  private:
    struct Level {
        std::string container;
        bool isArray;
        std::size_t next = 0;
        // Of the value that comes.
        std::string pointer;
    };

    bool Value(std::size_t length) {
        if (!levels_.empty() && levels_.back().isArray) {
            Level& level = levels_.back();
            level.pointer = level.container + '/' + std::to_string(level.next++);
            offsets_.emplace(level.pointer, stream_.Tell() - length);
        }
        return true;
    }

    bool Push(bool isArray) {
        levels_.push_back({levels_.empty() ? "" : levels_.back().pointer, isArray, 0, ""});
        return true;
    }

    bool Pop() {
        levels_.pop_back();
        return true;
    }

    const rapidjson::MemoryStream& stream_;
    Offsets& offsets_;
    std::vector<Level> levels_;
};

}  // namespace

JsonPositions::JsonPositions(std::string_view text) : text_(text) {
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
    rapidjson::MemoryStream stream(text.data(), text.size());
    Follower follower(stream, offsets_);
    rapidjson::Reader().Parse<kFlags>(stream, follower);
}

JsonPositions::Position JsonPositions::At(std::string pointer) const {
    auto found = offsets_.find(pointer);
    while (found == offsets_.end() && !pointer.empty()) {
        pointer.erase(pointer.rfind('/'));
        found = offsets_.find(pointer);
    }
    const std::string_view before = text_.substr(0, found != offsets_.end() ? found->second : 0);
    const std::size_t lineStart = before.rfind('\n') + 1;  // 0 behind the last position there is
    return {1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')),
            before.size() - lineStart + 1};
}

}  // namespace MuxProxy
