#include "tools/muxctl/NearestWord.h"

#include <gtest/gtest.h>

#include <string>

namespace Muxctl {
namespace {

const std::vector<std::string_view> kWords = {"open", "open-close", "close", "status", "watch", "ID", "IpAddress"};

struct Misspelling {
    const char* word;
    const char* nearest;
};

TEST(NearestWord, FindsTheWordThatWasMeant) {
    constexpr Misspelling kMisspellings[] = {
        {"opne", "open"},           {"IpAdress", "IpAddress"}, {"ipaddress", "IpAddress"}, {"Id", "ID"},
        {"staus", "status"},        {"statuus", "status"},     {"stotus", "status"},       {"clsoe", "close"},
        {"open_cls", "open-close"}, {"iP", "IpAddress"},       {"wat", "watch"},           {"open", "open"},
    };
    for (const Misspelling& misspelling : kMisspellings) {
        EXPECT_EQ(NearestWord(misspelling.word, kWords), misspelling.nearest) << misspelling.word;
    }
}

TEST(NearestWord, FindsNothingForAnotherWord) {
    for (const std::string& word : {std::string(), std::string("w"), std::string("lock"), std::string("IX"),
                                    std::string("stauts-of"), std::string(1000000, 'o')}) {
        EXPECT_EQ(NearestWord(word, kWords), "") << word.substr(0, 20);
    }
}

TEST(NearestWord, PrefersFewerChangesThenTheFirst) {
    EXPECT_EQ(NearestWord("staxus", {"stayys", "status"}), "status");
    EXPECT_EQ(NearestWord("clone", {"close", "clonk"}), "close");
}

}  // namespace
}  // namespace Muxctl
