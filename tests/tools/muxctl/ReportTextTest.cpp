#include "tools/muxctl/ReportText.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Muxctl {
namespace {

const ConfigurationReport kFine = {true, 1, 2, {}, 1};
const ConfigurationReport kOneWarning = {true, 2, 1, {{Finding::Level::kWarning, "Gateways[0].Port", "is 0"}}, 1};
const ConfigurationReport kUnusable = {
    false, 0, 0, {{Finding::Level::kError, "", "is not JSON"}, {Finding::Level::kWarning, "\"a\n\"", "is not known"}}};

std::string ReportText(const ConfigurationReport& report, const std::string& file, const Style& style) {
    std::ostringstream output;
    WriteReport(report, file, style, output);
    return output.str();
}

std::string ReportJson(const ConfigurationReport& report, const std::string& file) {
    std::ostringstream output;
    WriteJsonReport(report, file, output);
    return output.str();
}

TEST(ReportTextTest, HasALineForEachFindingAndOneForTheWhole) {
    EXPECT_EQ(ReportText(kFine, "mux.json", Style(false)), "mux.json: valid: 1 gateway, 2 locks");
    EXPECT_EQ(ReportText(kOneWarning, "mux.json", Style(false)),
              "mux.json: warning: Gateways[0].Port is 0\n"
              "mux.json: usable, with 1 warning: 1 of 2 gateways, 1 lock");
    EXPECT_EQ(ReportText(kUnusable, "mux.json", Style(false)),
              "mux.json: error: the document is not JSON\n"
              "mux.json: warning: \"a?\" is not known\n"
              "mux.json: unusable");
}

TEST(ReportTextTest, IsJsonOnRequest) {
    EXPECT_EQ(ReportJson(kFine, "mux.json"),
              R"({"File":"mux.json","Usable":true,"Gateways":1,"Locks":2,"Findings":[]})");
    EXPECT_EQ(ReportJson(kUnusable, "a\"b"), R"({"File":"a\"b","Usable":false,"Gateways":0,"Locks":0,"Findings":[)"
                                             R"({"Level":"error","Where":"","Text":"is not JSON"},)"
                                             R"({"Level":"warning","Where":"\"a\n\"","Text":"is not known"}]})");
}

// The Mux takes any bytes in a key; those who read our JSON may not.
TEST(ReportTextTest, IsJsonInUtf8WhateverTheBytes) {
    const std::string replacement = "\xEF\xBF\xBD";
    const std::vector<std::pair<std::string, std::string>> texts = {
        {"\xFF", replacement},
        {"a\xC3", "a" + replacement},
        {"\xC3(", replacement + "("},
        {"\xE2\x82z", replacement + replacement + "z"},
        {"\xC0\xAF", replacement + replacement},
        {"\xED\xA0\x80", replacement + replacement + replacement},
        {"\xC3\xBC \xE2\x82\xAC \xF0\x9F\x94\x91", "\xC3\xBC \xE2\x82\xAC \xF0\x9F\x94\x91"},
    };
    for (const auto& [bytes, text] : texts) {
        std::string expected = R"({"File":")";
        expected += text;
        expected += R"(","Usable":true,"Gateways":0,"Locks":0,"Findings":[{"Level":"warning","Where":")";
        expected += text;
        expected += R"(","Text":"t"}]})";
        EXPECT_EQ(ReportJson({true, 0, 0, {{Finding::Level::kWarning, bytes, "t"}}}, bytes), expected);
    }
}

}  // namespace
}  // namespace Muxctl
