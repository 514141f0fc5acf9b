#include "tools/client/TextCutter.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tools/client/Errors.h"

namespace MuxClient {
namespace {

struct CutRow {
    const char* name;
    const char* stream;
    std::vector<std::string> texts;
};

const std::vector<CutRow> kRows = {
    {"one", R"({"a":1})", {R"({"a":1})"}},
    {"two without anything between", "{}{}", {"{}", "{}"}},
    {"white space between is no part of either", " {}\r\n\t{} ", {"{}", "{}"}},
    {"white space inside stays", "{ \"a\" : 1 }", {"{ \"a\" : 1 }"}},
    {"nested", R"({"a":{"b":{}}}{"c":[{}]})", {R"({"a":{"b":{}}})", R"({"c":[{}]})"}},
    {"braces in a string", R"({"a":"}{"}{})", {R"({"a":"}{"})", "{}"}},
    {"an escaped quote", R"({"a":"\"}"}{})", {R"({"a":"\"}"})", "{}"}},
    {"an escaped backslash before the end of a string", R"({"a":"\\"}{})", {R"({"a":"\\"})", "{}"}},
    {"a backslash before that", R"({"a":"\\\"}"}{})", {R"({"a":"\\\"}"})", "{}"}},
    {"the last one is not whole", R"({}{"a":"}")", {"{}"}},
    {"two of the Mux",
     R"({"Timestamp":1700000000,"MessageID":"a","MessageCode":0,"Data":{}})"
     R"({"Timestamp":1700000000,"MessageID":"b","MessageCode":1,"Data":{"ErrorCode":0,"Message":"Error in request"}})",
     {R"({"Timestamp":1700000000,"MessageID":"a","MessageCode":0,"Data":{}})",
      R"({"Timestamp":1700000000,"MessageID":"b","MessageCode":1,"Data":{"ErrorCode":0,"Message":"Error in request"}})"}},
};

TEST(TextCutterTest, CutsWhatArrivesAtOnceAndByteByByte) {
    for (const CutRow& row : kRows) {
        const std::string_view stream = row.stream;
        for (const std::size_t size : {stream.size() + 1, std::size_t{1}}) {
            TextCutter cutter;
            std::vector<std::string> texts;
            for (std::size_t at = 0; at < stream.size(); at += size) {
                cutter.Add(stream.substr(at, size));
                while (const auto text = cutter.Next()) {
                    texts.push_back(*text);
                }
            }
            EXPECT_EQ(texts, row.texts) << row.name << ", pieces of " << size;
        }
    }
}

TEST(TextCutterTest, GivesTheRestOutWhenItHasCome) {
    TextCutter cutter;
    EXPECT_EQ(cutter.Next(), std::nullopt);
    cutter.Add(R"({"a":"{)");
    EXPECT_EQ(cutter.Next(), std::nullopt);
    cutter.Add(R"("}{)");
    EXPECT_EQ(cutter.Next(), R"({"a":"{"})");
    EXPECT_EQ(cutter.Next(), std::nullopt);
}

TEST(TextCutterTest, RefusesWhatIsNoObject) {
    for (const char* const stream : {"HTTP/1.1 400 Bad Request", "[]", "}", "1", "\"{}\""}) {
        TextCutter cutter;
        cutter.Add(stream);
        EXPECT_THROW(cutter.Next(), ProtocolError) << stream;
    }
}

TEST(TextCutterTest, GivesOutWhatStandsBeforeARefusedByte) {
    TextCutter cutter;
    cutter.Add("{}x");
    EXPECT_EQ(cutter.Next(), "{}");
    EXPECT_THROW(cutter.Next(), ProtocolError);
}

TEST(TextCutterTest, WaitsForTheEndOfAMessageOnlySoLong) {
    TextCutter cutter;
    cutter.Add("{" + std::string(TextCutter::kLongestMessage - 1, ' '));
    EXPECT_EQ(cutter.Next(), std::nullopt);
    cutter.Add(" ");
    EXPECT_THROW(cutter.Next(), ProtocolError);
}

}  // namespace
}  // namespace MuxClient
