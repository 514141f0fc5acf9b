#include "json/Tree.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/json/ParsedJson.h"

using Testing::ParsedJson;

namespace Json {
namespace {

// One of every type, both ends of every range of numbers, empty containers, and a key that occurs twice.
const char* const kEverything =
    R"({"null":null,"true":true,"false":false,"text":"a\"b\\c/d\u0000\u001F\n\t","empty":"","int":-2147483648,)"
    R"("unsigned":4294967295,"int64":-9223372036854775808,"uint64":18446744073709551615,"double":-1.5,)"
    R"("whole":3.0,"small":1e-7,"big":1.7976931348623157e308,"list":[1,[],{},[[2]],"x"],"object":{"":{"deep":[null]}},)"
    R"("twice":1,"twice":2})";

// The library's own writer, which takes the other way through the value, is what we compare with.
std::string TextByTheLibrary(const rapidjson::Value& value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    value.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

TEST(Text, IsWhatTheLibraryItselfWritesForValuesOfEveryType) {
    const auto document = ParsedJson(kEverything);
    EXPECT_EQ(Text(document), TextByTheLibrary(document));
}

TEST(Text, IsCompactWithMembersInTheirOrderForARootOfAnyType) {
    for (const char* text : {"null", "true", "false", "7", "\"x\"", "[]", "{}", R"({"b":[1,-2.5,true,null],"a":{}})"}) {
        EXPECT_EQ(Text(ParsedJson(text)), text);
    }
}

TEST(Text, EscapesQuotesBackslashesAndControlCharactersAndNothingElse) {
    const std::string text("\"\\/\b\f\n\r\t\0\x01\x1F\x7F\xC3\xA9", 14);
    const rapidjson::Value value(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    EXPECT_EQ(Text(value), "\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0000\\u0001\\u001F\x7F\xC3\xA9\"");
}

TEST(Text, IsEmptyForNumbersThatJsonCannotExpress) {
    EXPECT_EQ(Text(rapidjson::Value(std::numeric_limits<double>::quiet_NaN())), "");
    rapidjson::Document list(rapidjson::kArrayType);
    list.PushBack(1, list.GetAllocator()).PushBack(std::numeric_limits<double>::infinity(), list.GetAllocator());
    EXPECT_EQ(Text(list), "");
}

TEST(Copy, CopiesValuesOfEveryType) {
    const auto source = ParsedJson(kEverything);
    rapidjson::Document target;
    Copy(source, target, target.GetAllocator());
    EXPECT_EQ(TextByTheLibrary(target), TextByTheLibrary(source));
}

TEST(Copy, ReplacesWhatTheTargetHeldAndOutlivesItsSource) {
    auto target = ParsedJson(R"({"old":[1,2,3]})");
    const std::string text = R"({"a key of some length, so that it is not kept inline":["and a long text too"]})";
    Copy(ParsedJson(text), target, target.GetAllocator());
    EXPECT_EQ(Text(target), text);
}

TEST(Copy, CopiesTextThatIsOnlyReferredTo) {
    std::string text = "first text, long enough not to be kept inline";
    rapidjson::Document target;
    Copy(rapidjson::Value(rapidjson::StringRef(text.data(), text.size())), target, target.GetAllocator());
    text.assign(text.size(), 'x');
    EXPECT_STREQ(target.GetString(), "first text, long enough not to be kept inline");
}

}  // namespace
}  // namespace Json
